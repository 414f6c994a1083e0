#pragma once

#include <string>

#include <curl/curl.h>

#include "box/relay/ItemContext.h"

namespace box {

/// One request to a server, as libcurl is told of it; not yet under way.
class UpstreamTransfer {
 public:
  struct Request {
    std::string url;
    bool headOnly = false;
    bool acceptsEncodings = false;
    HeaderFields fields;  ///< beside the item's own
  };
  UpstreamTransfer(ItemContext& item, const Request& request);
  ~UpstreamTransfer();
  UpstreamTransfer(const UpstreamTransfer&) = delete;
  UpstreamTransfer& operator=(const UpstreamTransfer&) = delete;

  CURL* get() const { return _transfer; }

 private:
  void _addField(const std::string& name, const std::string& value);

  CURL* const _transfer;
  curl_slist* _fields = nullptr;
};

/// Who is to blame for the failure of a transfer.
platform::Error errorOfTransfer(CURLcode code);
/// It may go better the next time.
bool isPassing(CURLcode code);

}  // namespace box
