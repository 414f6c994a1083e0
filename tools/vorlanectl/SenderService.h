#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/vorlanectl/Connection.h"

namespace vorlanectl {

/// What a sender does for the player of what it has sent: serves files under URLs of its own, and
/// hands out content keys.
///
/// Workflow: made before the session is started, so that what cannot be read is told at once; then
/// every event goes to answer(). Requests that it has nothing for are refused with status 404, and
/// kinds that it does not serve are left to others. What it does is told on stdout, what it cannot
/// on stderr.
class SenderService {
 public:
  /// Of the folder's files, and of the keys in a file: a raw key of 16 bytes, for every request, or
  /// JSON that has them by URL or by identifier. Throws UsageError.
  SenderService(Connection& box, const std::optional<std::string>& folder,
                const std::optional<std::string>& keyFile);

  void answer(const Event& event);

 private:
  struct NamedKey {
    std::string name;  ///< a URL, or the identifier's bytes
    std::string key;
  };

  void _readKeys(const std::string& file);
  void _serveFile(const Json& request);
  void _serveKey(const Json& request);
  /// What a key server makes of a request: all the keys it has of those that are asked for. Empty
  /// when it has none.
  std::string _licenceFor(const std::string& keyRequest) const;
  const std::string* _keyNamed(const std::string& name) const;
  void _respond(const Json& request, int status, Json response);

  Connection& _box;
  std::string _folder;  // empty: none are served
  bool _servesKeys = false;
  std::string _onlyKey;  // for every request
  std::vector<NamedKey> _keys;
};

/// The file below `folder` that `scheme://a/b?c`, or `scheme:a/b`, means: `a/b`. Where a name on
/// the way is a file's, what follows is beside that file, for so a playlist at `scheme://list`
/// names its segments. Nothing when there is no such file or it lies elsewhere.
std::optional<std::string> fileOfURL(const std::string& folder, const std::string& url);

}  // namespace vorlanectl
