#pragma once

#include <string>

#include <curl/curl.h>

#include "platform/foundation/Error.h"
#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// One request to a server as libcurl sends it. The context outlives it. Transfer thread only.
class HTTPRequest {
 public:
  struct Setup {
    std::string url;
    bool acceptsEncodings = false;
    bool isTrusted = false;  ///< may reach private addresses
    HeaderFields fields;     ///< beside those of the item
  };
  HTTPRequest(ItemContext& item, const Setup& setup);
  ~HTTPRequest();
  HTTPRequest(const HTTPRequest&) = delete;
  HTTPRequest& operator=(const HTTPRequest&) = delete;

  CURL* get() const { return _transfer; }
  /// To be called with the address of a connection before it is used.
  bool mayUse(const char* address);
  /// The error of a transfer that has failed with `code`.
  platform::Error error(CURLcode code) const;

 private:
  static curl_socket_t _openSocket(void* self, curlsocktype purpose, curl_sockaddr* address);
  bool _allows(bool isPrivate);
  void _addField(const std::string& name, const std::string& value);

  ItemContext& _item;
  CURL* const _transfer;
  const bool _isOwnServer;
  const bool _isTrusted;
  bool _wasRefused = false;
  curl_slist* _fields = nullptr;
};

/// Another try may succeed.
bool isTemporary(CURLcode code);

}  // namespace streaming
