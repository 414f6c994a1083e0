#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Bytes.h"
#include "platform/foundation/Error.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// A request to the sender: for a resource with a custom URL scheme, or for a content key.
struct ContentRequest {
  enum class Kind { Resource, Key };
  Kind kind = Kind::Resource;
  std::string url;
  std::string method = "GET";
  HeaderFields headers;  ///< headers for the server, including Range
  friend bool operator==(const ContentRequest&, const ContentRequest&) = default;
};

/// The response of the sender: an error, a redirect, or data.
struct ContentResponse {
  std::optional<platform::Error> error;
  std::optional<std::string> redirectURL;
  int statusCode = 200;
  HeaderFields headers;
  std::shared_ptr<const platform::Bytes> data;
};

struct Cookie {
  std::string name;
  std::string value;
  std::string domain;  ///< empty: the host of the item's URL only
  std::string path = "/";
  bool secure = false;
};

struct PreSharedKey {
  platform::Bytes identity;
  platform::Bytes secret;
};

struct ItemSetup {
  std::string url;        ///< as passed by the sender
  std::string userAgent;  ///< empty: the default
  HeaderFields headers;   ///< sent only to the host and port of `url`
  std::vector<Cookie> cookies;
  /// References without a query inherit the query of the manifest's URL.
  bool inheritsQuery = false;
  bool usesDiskCache = false;
  std::optional<PreSharedKey> preSharedKey;  ///< used only for the host and port of `url`
  /// Called on the transfer thread. `reply` may be called on any thread, also synchronously. Later
  /// calls, and calls after the item was closed, have no effect. There is no timeout; the callee
  /// must set one.
  std::function<void(ContentRequest, std::function<void(ContentResponse)> reply)> requestContent;
};

}  // namespace streaming
