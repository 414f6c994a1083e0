#include "streaming/transfer/ItemContext.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"
#include "streaming/transfer/KeyRequest.h"
#include "streaming/transfer/ResourceTransfer.h"

namespace streaming {
namespace {

bool isCookieText(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return isControl(c); });
}

/// A line in Netscape cookie file format. Empty: the cookie is invalid.
std::string cookieLine(const Cookie& cookie, const std::string& itemHost) {
  const std::string& host = cookie.domain.empty() ? itemHost : cookie.domain;
  if (host.empty() || cookie.name.empty()) return {};
  for (const std::string* text : {&host, &cookie.path, &cookie.name, &cookie.value})
    if (!isCookieText(*text)) return {};
  std::string line;
  const std::string_view fields[] = {host,
                                     cookie.domain.empty() ? "FALSE" : "TRUE",
                                     cookie.path.empty() ? "/" : std::string_view(cookie.path),
                                     cookie.secure ? "TRUE" : "FALSE",
                                     "0",
                                     cookie.name,
                                     cookie.value};
  for (const std::string_view field : fields) {
    if (!line.empty()) line += '\t';
    line += field;
  }
  return line;
}

}  // namespace

ItemContext::ItemContext(ItemSetup setup, std::shared_ptr<TransferThread> thread,
                         std::shared_ptr<SharedConnections> shared, TransferLimits limits)
    : _setup(std::move(setup)),
      _thread(std::move(thread)),
      _shared(std::move(shared)),
      _limits(limits),
      _reach(_setup.url) {}

ItemContext::~ItemContext() = default;

void ItemContext::post(std::function<void()> task) {
  _thread->loop().post([context = weak_from_this(), task = std::move(task)] {
    const auto self = context.lock();
    if (self && !self->isClosed()) task();
  });
}

CurlLoop& ItemContext::connections() {
  if (!_setup.preSharedKey) return *_shared->loop;
  if (!_ownConnections) _ownConnections = std::make_unique<CurlLoop>(loop());
  return *_ownConnections;
}

CURLSH* ItemContext::cookies() {
  if (_cookies) return _cookies;
  _cookies = curl_share_init();
  curl_share_setopt(_cookies, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  CURL* const writer = curl_easy_init();
  curl_easy_setopt(writer, CURLOPT_SHARE, _cookies);
  curl_easy_setopt(writer, CURLOPT_COOKIEFILE, "");
  const std::string host = URLServer::of(_setup.url).host;
  for (const Cookie& cookie : _setup.cookies) {
    const std::string line = cookieLine(cookie, host);
    if (!line.empty()) curl_easy_setopt(writer, CURLOPT_COOKIELIST, line.c_str());
  }
  curl_easy_cleanup(writer);
  return _cookies;
}

bool ItemContext::isOwnServer(const std::string& url) const {
  const auto own = URLServer::of(_setup.url);
  if (own.host.empty() || own.port == 0 || URLServer::of(url) != own) return false;
  return schemeOf(_setup.url) != "https" || schemeOf(url) == "https";
}

void ItemContext::close() {
  markClosed();
  // Key requests own transfers that remove themselves from _transfers.
  const auto keyRequests = std::exchange(_keyRequests, {});
  for (ResourceTransfer* const transfer : std::exchange(_transfers, {})) transfer->cancel();
  _ownConnections.reset();
  if (_cookies) curl_share_cleanup(std::exchange(_cookies, nullptr));
}

}  // namespace streaming
