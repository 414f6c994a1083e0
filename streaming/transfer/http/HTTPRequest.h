#pragma once

#include <string>

#include <curl/curl.h>

#include "platform/foundation/Error.h"
#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// One HTTP request of libcurl. The context must outlive it. Transfer thread only.
class HTTPRequest {
 public:
  struct Setup {
    std::string url;
    bool acceptsEncodings = false;
    bool isTrusted = false;  ///< may use private addresses
    HeaderFields fields;     ///< in addition to those of the item
  };
  HTTPRequest(ItemContext& item, const Setup& setup);
  ~HTTPRequest();
  HTTPRequest(const HTTPRequest&) = delete;
  HTTPRequest& operator=(const HTTPRequest&) = delete;

  CURL* get() const { return _transfer; }
  /// Call it with the address of a connection before using the connection.
  bool mayUse(const char* address);
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

bool isTemporary(CURLcode code);

}  // namespace streaming
