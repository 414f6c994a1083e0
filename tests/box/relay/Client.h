#pragma once

#include <string>
#include <string_view>

#include <curl/curl.h>

namespace box {

/// What came back from the relay, as an engine sees it.
struct Reply {
  CURLcode code = CURLE_OK;  ///< not CURLE_OK: broken off
  long status = 0;
  std::string head;
  std::string body;

  std::string field(std::string_view name) const {
    const auto begin = head.find("\r\n" + std::string(name) + ": ");
    if (begin == head.npos) return {};
    const auto value = begin + name.size() + 4;
    return head.substr(value, head.find('\r', value) - value);
  }
};

/// A connection that is kept, as the engine keeps it.
class Client {
 public:
  Client() : _transfer(curl_easy_init()) {}
  ~Client() { curl_easy_cleanup(_transfer); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  Reply get(const std::string& url, const char* range = nullptr, bool headOnly = false) {
    Reply reply;
    const auto append = +[](char* bytes, std::size_t, std::size_t size, void* text) {
      static_cast<std::string*>(text)->append(bytes, size);
      return size;
    };
    curl_easy_setopt(_transfer, CURLOPT_URL, url.c_str());
    curl_easy_setopt(_transfer, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(_transfer, CURLOPT_RANGE, range);
    curl_easy_setopt(_transfer, CURLOPT_NOBODY, headOnly ? 1L : 0L);
    if (!headOnly) curl_easy_setopt(_transfer, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(_transfer, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(_transfer, CURLOPT_WRITEDATA, &reply.body);
    curl_easy_setopt(_transfer, CURLOPT_HEADERFUNCTION, append);
    curl_easy_setopt(_transfer, CURLOPT_HEADERDATA, &reply.head);
    curl_easy_setopt(_transfer, CURLOPT_TIMEOUT, 20L);
    reply.code = curl_easy_perform(_transfer);
    curl_easy_getinfo(_transfer, CURLINFO_RESPONSE_CODE, &reply.status);
    return reply;
  }

  long connections() const {
    long count = 0;
    curl_easy_getinfo(_transfer, CURLINFO_NUM_CONNECTS, &count);
    return count;
  }

 private:
  CURL* const _transfer;
};

}  // namespace box
