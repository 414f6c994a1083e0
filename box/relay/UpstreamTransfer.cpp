#include "box/relay/UpstreamTransfer.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "box/relay/NetworkErrors.h"
#include "box/relay/PreSharedKeyTLS.h"
#include "box/relay/URLParts.h"

namespace box {
namespace {

using platform::URLErrorCode;

constexpr const char* kUserAgent = "TVVorlane";
// What a compressed piece can swell to before it is asked whether there is room is bounded by the
// size of the piece.
constexpr long kCompressedPiece = 4096;

/// What belongs to the connection, or is decided by the relay.
bool isReserved(const std::string& name) {
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

curl_slist* statusAliases() {
  static curl_slist* const aliases = curl_slist_append(nullptr, "ICY 200 OK");
  return aliases;
}

}  // namespace

UpstreamTransfer::UpstreamTransfer(ItemContext& item, const Request& request)
    : _transfer(curl_easy_init()) {
  CURL* const transfer = _transfer;
  const RelayItemSetup& setup = item.setup();
  curl_easy_setopt(transfer, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(transfer, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(transfer, CURLOPT_NOSIGNAL, 1L);
  // A name lookup that hangs must not hold up whoever gives a transfer up.
  curl_easy_setopt(transfer, CURLOPT_QUICK_EXIT, 1L);
  curl_easy_setopt(transfer, CURLOPT_CONNECTTIMEOUT_MS,
                   static_cast<long>(item.bounds().connect.count()));
  curl_easy_setopt(transfer, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  curl_easy_setopt(transfer, CURLOPT_HTTP200ALIASES, statusAliases());
  curl_easy_setopt(transfer, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  curl_easy_setopt(transfer, CURLOPT_SHARE, item.cookies());
  curl_easy_setopt(transfer, CURLOPT_COOKIEFILE, "");
  if (request.headOnly) curl_easy_setopt(transfer, CURLOPT_NOBODY, 1L);
  if (request.acceptsEncodings) {
    curl_easy_setopt(transfer, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    curl_easy_setopt(transfer, CURLOPT_BUFFERSIZE, kCompressedPiece);
  } else {
    curl_easy_setopt(transfer, CURLOPT_BUFFERSIZE, 65536L);
  }
  const bool hasAgent = !setup.userAgent.empty() && isFieldText(setup.userAgent);
  curl_easy_setopt(transfer, CURLOPT_USERAGENT, hasAgent ? setup.userAgent.c_str() : kUserAgent);

  const bool isOwnServer = item.isOwnServer(request.url);
  if (isOwnServer && setup.preSharedKey) usePreSharedKey(transfer, *setup.preSharedKey);
  if (isOwnServer)
    for (const auto& [name, value] : setup.headers)
      if (!isReserved(name)) _addField(name, value);
  for (const auto& [name, value] : request.fields) _addField(name, value);
  curl_easy_setopt(transfer, CURLOPT_HTTPHEADER, _fields);
}

UpstreamTransfer::~UpstreamTransfer() {
  curl_easy_cleanup(_transfer);
  curl_slist_free_all(_fields);
}

void UpstreamTransfer::_addField(const std::string& name, const std::string& value) {
  if (!isFieldName(name) || !isFieldText(value)) return;
  // A field without a value is written with a semicolon.
  const std::string line = value.empty() ? name + ";" : name + ": " + value;
  _fields = curl_slist_append(_fields, line.c_str());
}

platform::Error errorOfTransfer(CURLcode code) {
  switch (code) {
    case CURLE_URL_MALFORMAT:
      return networkError(URLErrorCode::BadURL);
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
      return networkError(URLErrorCode::CannotFindHost);
    case CURLE_COULDNT_CONNECT:
      return networkError(URLErrorCode::CannotConnectToHost,
                          "Nothing accepts connections at its address.");
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
    // Schemes are looked at before, so it is the version of HTTP that is meant.
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_FILESIZE_EXCEEDED:
    // A header field beyond libcurl's own limit; the second code since 8.6.
    case CURLE_OUT_OF_MEMORY:
#if LIBCURL_VERSION_NUM >= 0x080600
    case CURLE_TOO_LARGE:
#endif
      return networkError(URLErrorCode::BadServerResponse);
    default:
      return networkError(URLErrorCode::NetworkConnectionLost);
  }
}

bool isPassing(CURLcode code) {
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

}  // namespace box
