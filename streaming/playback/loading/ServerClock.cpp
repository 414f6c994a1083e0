#include "streaming/playback/loading/ServerClock.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>

#include "streaming/foundation/Text.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxClockBytes = 4096;
constexpr auto kClockTimeout = std::chrono::seconds(3);
/// Date has a resolution of one second, and the response has a latency.
constexpr double kResponseTolerance = 2;

std::optional<int> numberIn(std::string_view text, std::size_t offset, std::size_t length) {
  if (offset + length > text.size()) return std::nullopt;
  int value = 0;
  const char* end = text.data() + offset + length;
  const auto [rest, error] = std::from_chars(text.data() + offset, end, value);
  if (error != std::errc() || rest != end || value < 0) return std::nullopt;
  return value;
}

std::optional<double> secondsOf(std::optional<int> year, unsigned month, std::optional<int> day,
                                std::optional<int> hour, std::optional<int> minute, double second) {
  if (!year || !day || !hour || !minute || *hour > 24 || *minute > 59) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(*year), std::chrono::month(month),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  const auto days = std::chrono::sys_days(date).time_since_epoch().count();
  return static_cast<double>(days) * 86400 + *hour * 3600 + *minute * 60 + second;
}

/// "http-iso" of "urn:mpeg:dash:utc:http-iso:2014".
std::string_view schemeName(std::string_view scheme) {
  constexpr std::string_view kPrefix = "urn:mpeg:dash:utc:";
  if (!scheme.starts_with(kPrefix)) return {};
  scheme.remove_prefix(kPrefix.size());
  return scheme.substr(0, scheme.find(':'));
}

}  // namespace

std::optional<double> secondsOfHTTPDate(std::string_view text) {
  static constexpr std::array<std::string_view, 12> months = {
      "Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  text = trimmed(text);
  if (text.size() < 25) return std::nullopt;
  const auto second = numberIn(text, 23, 2);
  for (unsigned month = 0; month < months.size() && second; ++month) {
    if (text.substr(8, 3) != months[month]) continue;
    return secondsOf(numberIn(text, 12, 4), month + 1, numberIn(text, 5, 2), numberIn(text, 17, 2),
                     numberIn(text, 20, 2), *second);
  }
  return std::nullopt;
}

std::optional<double> secondsOfDateTime(std::string_view text) {
  text = trimmed(text);
  const auto month = numberIn(text, 5, 2);
  if (!month || text.size() < 19) return std::nullopt;
  double second = 0;
  const char* end = text.data() + text.size();
  auto [rest, error] = std::from_chars(text.data() + 17, end, second, std::chars_format::fixed);
  if (error != std::errc() || !(second >= 0 && second < 61)) return std::nullopt;
  const std::string_view zone(rest, static_cast<std::size_t>(end - rest));
  double offset = 0;
  if (zone.size() >= 6 && (zone[0] == '+' || zone[0] == '-')) {
    const auto hours = numberIn(zone, 1, 2);
    const auto minutes = numberIn(zone, 4, 2);
    if (!hours || !minutes) return std::nullopt;
    offset = (*hours * 60 + *minutes) * (zone[0] == '-' ? -60.0 : 60.0);
  }
  const auto seconds =
      secondsOf(numberIn(text, 0, 4), static_cast<unsigned>(*month), numberIn(text, 8, 2),
                numberIn(text, 11, 2), numberIn(text, 14, 2), second);
  if (!seconds) return std::nullopt;
  return *seconds - offset;
}

platform::Date ServerClock::now() const { return {_source.civilTime().secondsSince1970 + _offset}; }

void ServerClock::noteResponse(const ResponseHead& head, platform::Date receivedAt) {
  if (_isExact) return;
  const auto seconds = secondsOfHTTPDate(head.field("Date"));
  if (!seconds) return;
  const double offset = *seconds - receivedAt.secondsSince1970;
  if (std::abs(offset - _offset) > kResponseTolerance) _offset = offset;
}

void ServerClock::synchronize(const std::vector<std::pair<std::string, std::string>>& clocks,
                              std::function<void()> ready) {
  if (std::exchange(_isBegun, true) || clocks.empty()) return ready();
  _ready = std::move(ready);
  for (const auto& [scheme, value] : clocks) {
    // The value may list several servers.
    std::string_view rest = value;
    while (!(rest = trimmed(rest)).empty() && _clocks.size() < 4) {
      const auto end = rest.find(' ');
      _clocks.emplace_back(schemeName(scheme), rest.substr(0, end));
      rest.remove_prefix(end == rest.npos ? rest.size() : end);
    }
  }
  _timeout = _source.callAt(_source.now() + kClockTimeout, [this] { _end(); });
  _tryNext();
}

void ServerClock::_tryNext() {
  for (; _next < _clocks.size(); ++_next) {
    const auto& [scheme, value] = _clocks[_next];
    if (scheme == "direct") {
      if (const auto seconds = secondsOfDateTime(value)) {
        _offset = *seconds - _source.civilTime().secondsSince1970;
        _isExact = true;
        return _end();
      }
      continue;
    }
    if (!scheme.starts_with("http-")) continue;
    _requestedAt = _source.now();
    _fetch =
        std::make_unique<BodyFetch>(_source, TransferRequest{value, TransferKind::Clock, {}, false},
                                    kMaxClockBytes, [this, name = scheme](FetchResult result) {
                                      const auto ended = std::move(_fetch);
                                      const auto* body = std::get_if<FetchedBody>(&result);
                                      if (body && _use(name, *body)) return _end();
                                      ++_next;
                                      _tryNext();
                                    });
    return;
  }
  _end();
}

bool ServerClock::_use(const std::string& scheme, const FetchedBody& body) {
  const auto seconds = scheme == "http-head" ? secondsOfHTTPDate(body.head.field("Date"))
                       : scheme == "http-xsdate" || scheme == "http-iso"
                           ? secondsOfDateTime(body.bytes)
                           : std::nullopt;
  if (!seconds) return false;
  // Assume equal latency of request and response.
  const double underWay = std::chrono::duration<double>(_source.now() - _requestedAt).count() / 2;
  _offset = *seconds + underWay - _source.civilTime().secondsSince1970;
  _isExact = true;
  return true;
}

void ServerClock::stop() {
  _ready = {};
  _end();
}

void ServerClock::_end() {
  const auto timeout = std::move(_timeout);
  const auto fetch = std::move(_fetch);
  if (const auto ready = std::exchange(_ready, {})) ready();
}

}  // namespace streaming
