#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/vorlanectl/Connection.h"

namespace vorlanectl {

/// Answers the box like a sender: serves files under custom URL schemes and provides content keys.
///
/// Create it before the session starts, so that unreadable files are reported first. Pass every
/// event to answer(). Requests for unknown files or keys are answered with status 404. Kinds of
/// requests that it does not serve are ignored. Served requests are printed to stdout, errors to
/// stderr.
class SenderService {
 public:
  /// `folder` has the files. `keyFile` has a raw key of 16 bytes for every request, or JSON with
  /// keys by URL or by identifier. Throws UsageError.
  SenderService(Connection& box, const std::optional<std::string>& folder,
                const std::optional<std::string>& keyFile);

  void answer(const Event& event);

 private:
  struct NamedKey {
    std::string name;  ///< a URL, or the bytes of an identifier
    std::string key;
  };

  void _readKeys(const std::string& file);
  void _serveFile(const Json& request);
  void _serveKey(const Json& request);
  /// Answers a key request like a license server: with all requested keys that are known. Empty if
  /// there is none.
  std::string _licenceFor(const std::string& keyRequest) const;
  const std::string* _keyNamed(const std::string& name) const;
  void _respond(const Json& request, int status, Json response);

  Connection& _box;
  std::string _folder;  // empty: no files
  bool _servesKeys = false;
  std::string _sharedKey;  // for every request
  std::vector<NamedKey> _keys;
};

/// Returns the path of the file that `scheme://a/b?c` or `scheme:a/b` refers to: `folder`/a/b. If a
/// component before the last is a file, the rest is resolved relative to its folder, so that
/// segments of a playlist at `scheme://list` are found. Returns nothing if the file does not exist
/// or is outside `folder`.
std::optional<std::string> fileOfURL(const std::string& folder, const std::string& url);

}  // namespace vorlanectl
