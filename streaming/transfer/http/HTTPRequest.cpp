#include "streaming/transfer/http/HTTPRequest.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

#include <sys/socket.h>

#include "streaming/foundation/Text.h"
#include "streaming/transfer/NetworkErrors.h"
#include "streaming/transfer/http/PreSharedKeyTLS.h"

namespace streaming {
namespace {

using platform::URLErrorCode;

constexpr const char* kUserAgent = "TVVorlane";
// A small buffer limits the size of decompressed data between two chances to pause.
constexpr long kCompressedBufferSize = 4096;

/// Connection fields, and fields that are set here.
bool isReservedField(const std::string& name) {
  static constexpr std::array<const char*, 10> names = {
      "host",    "connection", "content-length",  "transfer-encoding",
      "upgrade", "range",      "accept-encoding", "if-range",
      "expect",  "te"};
  return std::any_of(names.begin(), names.end(), [&](const char* reserved) {
    return curl_strequal(name.c_str(), reserved) != 0;
  });
}

bool isFieldText(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return c != '\t' && isControl(c); });
}

bool isFieldName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return isAlphanumeric(c) || isOneOf(c, "!#$%&'*+-.^_`|~");
  });
}

/// With a proxy, the connection's address is not that of the server.
bool usesProxy() {
  static const bool goes = [] {
    for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
      if (const char* value = std::getenv(name); value && *value != '\0') return true;
    return false;
  }();
  return goes;
}

curl_slist* statusAliases() {
  static curl_slist* const aliases = curl_slist_append(nullptr, "ICY 200 OK");
  return aliases;
}

}  // namespace

HTTPRequest::HTTPRequest(ItemContext& item, const Setup& request)
    : _item(item),
      _transfer(curl_easy_init()),
      _isOwnServer(item.isOwnServer(request.url)),
      _isTrusted(request.isTrusted || usesProxy()) {
  CURL* const transfer = _transfer;
  const ItemSetup& setup = item.setup();
  curl_easy_setopt(transfer, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(transfer, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(transfer, CURLOPT_NOSIGNAL, 1L);
  // Do not wait for a DNS lookup when cancelling.
  curl_easy_setopt(transfer, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(transfer, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(item.limits().connect.count()));
  curl_easy_setopt(transfer, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  curl_easy_setopt(transfer, CURLOPT_HTTP200ALIASES, statusAliases());
  curl_easy_setopt(transfer, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  curl_easy_setopt(transfer, CURLOPT_SHARE, item.cookies());
  curl_easy_setopt(transfer, CURLOPT_COOKIEFILE, "");
  curl_easy_setopt(transfer, CURLOPT_OPENSOCKETFUNCTION, &HTTPRequest::_openSocket);
  curl_easy_setopt(transfer, CURLOPT_OPENSOCKETDATA, this);
  if (request.acceptsEncodings) {
    curl_easy_setopt(transfer, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    curl_easy_setopt(transfer, CURLOPT_BUFFERSIZE, kCompressedBufferSize);
  } else {
    curl_easy_setopt(transfer, CURLOPT_BUFFERSIZE, 65536L);
  }
  const bool hasAgent = !setup.userAgent.empty() && isFieldText(setup.userAgent);
  curl_easy_setopt(transfer, CURLOPT_USERAGENT, hasAgent ? setup.userAgent.c_str() : kUserAgent);

  if (_isOwnServer && setup.preSharedKey) usePreSharedKey(transfer, *setup.preSharedKey);
  if (_isOwnServer)
    for (const auto& [name, value] : setup.headers)
      if (!isReservedField(name)) _addField(name, value);
  for (const auto& [name, value] : request.fields) _addField(name, value);
  curl_easy_setopt(transfer, CURLOPT_HTTPHEADER, _fields);
}

HTTPRequest::~HTTPRequest() {
  curl_easy_cleanup(_transfer);
  curl_slist_free_all(_fields);
}

void HTTPRequest::_addField(const std::string& name, const std::string& value) {
  if (!isFieldName(name) || !isFieldText(value)) return;
  // libcurl requires a semicolon for a field without a value.
  const std::string line = value.empty() ? name + ";" : name + ": " + value;
  _fields = curl_slist_append(_fields, line.c_str());
}

bool HTTPRequest::_allows(bool isPrivate) {
  if (_isTrusted || _item.reach().allows(isPrivate, _isOwnServer)) return true;
  _wasRefused = true;
  return false;
}

curl_socket_t HTTPRequest::_openSocket(void* self, curlsocktype, curl_sockaddr* address) {
  if (!static_cast<HTTPRequest*>(self)->_allows(isPrivateAddress(address->addr)))
    return CURL_SOCKET_BAD;
  return socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

bool HTTPRequest::mayUse(const char* address) {
  // The connection may have been opened by another item.
  return !address || _allows(isPrivateAddress(std::string(address)));
}

platform::Error HTTPRequest::error(CURLcode code) const {
  if (_wasRefused)
    return networkError(URLErrorCode::CannotConnectToHost,
                        "The server has an address of a private network.");
  switch (code) {
    case CURLE_URL_MALFORMAT:
      return networkError(URLErrorCode::BadURL);
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return networkError(URLErrorCode::CannotFindHost);
    case CURLE_COULDNT_CONNECT:
      return networkError(URLErrorCode::CannotConnectToHost,
                          "The server does not accept connections.");
    case CURLE_OPERATION_TIMEDOUT:
      return networkError(URLErrorCode::TimedOut);
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
    case CURLE_USE_SSL_FAILED:
      return networkError(URLErrorCode::SecureConnectionFailed);
    // HTTP errors. Schemes were checked before.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_FILESIZE_EXCEEDED:
    // A header field beyond the limit of libcurl; the second code since version 8.6.
    case CURLE_OUT_OF_MEMORY:
#if LIBCURL_VERSION_NUM >= 0x080600
    case CURLE_TOO_LARGE:
#endif
      return networkError(URLErrorCode::BadServerResponse);
    default:
      return networkError(URLErrorCode::NetworkConnectionLost);
  }
}

bool isTemporary(CURLcode code) {
  switch (code) {
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_PARTIAL_FILE:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
      return true;
    default:
      return false;
  }
}

}  // namespace streaming
