#include "box/relay/ItemContext.h"

#include <algorithm>
#include <utility>

#include "box/relay/Exchange.h"
#include "box/relay/URLParts.h"

namespace box {
namespace {

std::string lowercase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return result;
}

std::string hostOf(const std::string& url) {
  const auto authority = URLParts::of(url).authority;
  if (!authority) return {};
  std::string_view host = *authority;
  if (const auto at = host.rfind('@'); at != host.npos) host.remove_prefix(at + 1);
  const auto end = host.starts_with('[') ? host.find(']') : host.find(':');
  return lowercase(host.substr(0, end));
}

bool isCookieText(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return isControl(c); });
}

/// In the form of a line of a cookie file; empty for what cannot be sent.
std::string lineOf(const RelayCookie& cookie, const std::string& itemHost) {
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

std::string schemeOfURL(const std::string& url) { return lowercase(URLParts::of(url).scheme); }

bool isWebURL(const std::string& url) {
  const std::string scheme = schemeOfURL(url);
  return scheme == "http" || scheme == "https";
}

ItemContext::ItemContext(RelayItemSetup setup, std::string token, std::string base,
                         std::shared_ptr<RelayThread> thread, RelayBounds bounds)
    : _setup(std::move(setup)),
      _token(std::move(token)),
      _base(std::move(base)),
      _thread(std::move(thread)),
      _bounds(bounds) {}

ItemContext::~ItemContext() { _dropConnections(); }

std::string ItemContext::urlFor(const std::string& url, RelayPath::Kind kind) const {
  return _base + RelayPath{_token, kind, url}.make();
}

bool ItemContext::isOwnServer(const std::string& url) const {
  if (hostOf(url) != hostOf(_setup.url)) return false;
  return schemeOfURL(_setup.url) != "https" || schemeOfURL(url) != "http";
}

CurlLoop& ItemContext::loop(CurlLoop& shared) {
  if (!_setup.preSharedKey) return shared;
  if (!_loop) _loop = std::make_unique<CurlLoop>(_thread->context());
  return *_loop;
}

CURLSH* ItemContext::cookies() {
  if (_cookies) return _cookies;
  _cookies = curl_share_init();
  curl_share_setopt(_cookies, CURLSHOPT_SHARE, CURL_LOCK_DATA_COOKIE);
  CURL* writer = curl_easy_init();
  curl_easy_setopt(writer, CURLOPT_SHARE, _cookies);
  curl_easy_setopt(writer, CURLOPT_COOKIEFILE, "");
  for (const RelayCookie& cookie : _setup.cookies) {
    const std::string line = lineOf(cookie, hostOf(_setup.url));
    if (!line.empty()) curl_easy_setopt(writer, CURLOPT_COOKIELIST, line.c_str());
  }
  curl_easy_cleanup(writer);
  return _cookies;
}

void ItemContext::add(std::shared_ptr<Exchange> exchange) {
  _exchanges.insert(std::move(exchange));
}

void ItemContext::remove(Exchange& exchange) { _exchanges.erase(exchange.shared_from_this()); }

void ItemContext::whenHopeless(std::function<void()> handler) {
  {
    const std::lock_guard lock(_mutex);
    if (!_isHopeless) {
      _whenHopeless = std::move(handler);
      return;
    }
  }
  if (handler) handler();
}

void ItemContext::whenLegBegins(std::function<void()> handler) {
  const std::lock_guard lock(_mutex);
  _whenLegBegins = std::move(handler);
}

void ItemContext::tellLeg() {
  std::function<void()> handler;
  {
    const std::lock_guard lock(_mutex);
    handler = _whenLegBegins;
  }
  if (handler && !_isShut) handler();
}

void ItemContext::giveUp() {
  std::function<void()> handler;
  {
    const std::lock_guard lock(_mutex);
    if (std::exchange(_isHopeless, true)) return;
    handler = std::exchange(_whenHopeless, nullptr);
  }
  if (handler && !_isShut) handler();
}

void ItemContext::close() {
  shut();
  const auto exchanges = std::move(_exchanges);
  _exchanges.clear();
  for (const auto& exchange : exchanges) exchange->cancel();
  _dropConnections();
}

void ItemContext::_dropConnections() {
  _loop.reset();
  if (_cookies) curl_share_cleanup(std::exchange(_cookies, nullptr));
}

}  // namespace box
