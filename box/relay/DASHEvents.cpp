#include "box/relay/DASHEvents.h"

#include <algorithm>
#include <utility>

#include <glib.h>

#include "box/relay/TimeText.h"

namespace box {
namespace {

constexpr std::size_t kMostEventBytes = std::size_t{256} * 1024;

double numberOf(const XMLAttributes& attributes, std::string_view name) {
  return numberFrom(valueOf(attributes, name)).value_or(0);
}

std::string unpacked(const std::string& text) {
  gsize size = 0;
  guchar* const bytes = g_base64_decode(text.c_str(), &size);
  std::string result(reinterpret_cast<const char*>(bytes), size);
  g_free(bytes);
  return result;
}

}  // namespace

void DASHEvents::begin(std::string_view name, const XMLAttributes& attributes) {
  if (name == "Period") {
    const auto start = durationFrom(valueOf(attributes, "start"));
    _periodStart = start.value_or(_periodStart + _periodDuration);
    _periodDuration = durationFrom(valueOf(attributes, "duration")).value_or(0);
  } else if (name == "EventStream") {
    _key = valueOf(attributes, "schemeIdUri");
    if (const auto value = valueOf(attributes, "value"); !value.empty())
      _key.append(" ").append(value);
    _timescale = std::max(1.0, numberOf(attributes, "timescale"));
    _timeOffset = numberOf(attributes, "presentationTimeOffset");
  } else if (name == "Event" && !_inEvent && _events.size() < MediaTimeline::kMostEvents) {
    _beginEvent(attributes);
  }
}

void DASHEvents::_beginEvent(const XMLAttributes& attributes) {
  _inEvent = true;
  _isPacked = valueOf(attributes, "contentEncoding") == "base64";
  _words = valueOf(attributes, "messageData");
  _event = {};
  const double time = numberOf(attributes, "presentationTime") - _timeOffset;
  _event.position = std::max(0.0, _periodStart + time / _timescale);
  _event.item.key = _key;
  _event.item.keySpace = std::string(kKeySpaceEvents);
  if (const auto identifier = valueOf(attributes, "id"); !identifier.empty())
    _event.item.extraAttributes.set(kEventIdentifier, std::string(identifier));
  if (const double duration = numberOf(attributes, "duration"); duration > 0)
    _event.item.extraAttributes.set(kEventDuration, duration / _timescale);
}

void DASHEvents::text(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (!_inEvent || begin == text.npos || _bytes + _words.size() + text.size() > kMostEventBytes)
    return;
  _words += text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

void DASHEvents::end(std::string_view name, const std::string&) {
  if (name != "Event" || !std::exchange(_inEvent, false)) return;
  const std::string content = _isPacked ? unpacked(_words) : _words;
  platform::Bytes data(content.size());
  std::transform(content.begin(), content.end(), data.begin(),
                 [](char each) { return static_cast<std::byte>(each); });
  _event.item.value = platform::Value(std::move(data));
  _bytes += content.size() + _key.size();
  if (_bytes <= kMostEventBytes) _events.push_back(std::move(_event));
}

}  // namespace box
