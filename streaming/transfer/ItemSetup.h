#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// What is asked of the sender: a resource of a scheme that only the sender serves, or a content
/// key.
struct ContentQuestion {
  enum class Kind { Resource, Key };
  Kind kind = Kind::Resource;
  std::string url;
  std::string method = "GET";
  HeaderFields headers;  ///< those that matter to a server; Range among them
  friend bool operator==(const ContentQuestion&, const ContentQuestion&) = default;
};

/// The answer: an error, a redirect, or data.
struct ContentAnswer {
  std::optional<platform::Error> error;
  std::optional<std::string> redirectURL;
  int statusCode = 200;
  HeaderFields headers;
  std::shared_ptr<const platform::Bytes> data;
};

struct Cookie {
  std::string name;
  std::string value;
  std::string domain;  ///< empty: the host of the item's URL alone
  std::string path = "/";
  bool secure = false;
};

struct PreSharedKey {
  platform::Bytes identity;
  platform::Bytes secret;
};

/// How the resources of one item are fetched.
struct ItemSetup {
  std::string url;        ///< as the sender wrote it
  std::string userAgent;  ///< empty: our own
  HeaderFields headers;   ///< sent to the host and port of `url` alone
  std::vector<Cookie> cookies;
  /// What a manifest refers to without a query gets the query of the manifest's URL.
  bool inheritsQuery = false;
  bool usesDiskCache = false;
  std::optional<PreSharedKey> preSharedKey;  ///< for the host and port of `url` alone
  /// Called on the transfer thread. `reply` may be called from any thread, at once or later; a
  /// second call, and one after the item was closed, do nothing. The wait has no bound here:
  /// whoever answers keeps one.
  std::function<void(ContentQuestion, std::function<void(ContentAnswer)> reply)> ask;
};

}  // namespace streaming
