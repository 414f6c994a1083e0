#include "streaming/manifest/dash/DASHEvents.h"

#include <algorithm>
#include <array>
#include <memory>
#include <sstream>
#include <string>

#include "platform/media/TimedMetadataItem.h"
#include "streaming/manifest/EventKeys.h"

namespace streaming {
namespace {

constexpr std::size_t kMaxEvents = 1000;
constexpr std::size_t kMaxEventBytes = std::size_t{64} * 1024;

/// RFC 4648; ignores other characters.
std::string base64Decoded(std::string_view text) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  int count = 0;
  for (const char c : text) {
    const auto digit = kDigits.find(c);
    if (digit == kDigits.npos) continue;
    bits = bits << 6 | static_cast<unsigned>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xff);
  }
  return bytes;
}

/// The payload of an event: serialized child elements, or text.
std::string contentOf(pugi::xml_node event) {
  if (attributeOf(event, "contentEncoding") == "base64") return base64Decoded(textOf(event));
  if (hasAttribute(event, "messageData")) return std::string(attributeOf(event, "messageData"));
  std::ostringstream content;
  for (const pugi::xml_node child : event.children())
    if (child.type() == pugi::node_element) child.print(content, "", pugi::format_raw);
  std::string text = content.str();
  return text.empty() ? textOf(event) : text;
}

}  // namespace

void addPeriodEvents(pugi::xml_node period, double periodStart,
                     std::vector<PresentationEvent>& events) {
  for (const pugi::xml_node stream : childrenOf(period, "EventStream")) {
    std::string key(attributeOf(stream, "schemeIdUri"));
    constexpr std::size_t kMaxKeyLength = 1024;
    if (key.size() + attributeOf(stream, "value").size() > kMaxKeyLength) continue;
    if (hasAttribute(stream, "value")) key.append(" ").append(attributeOf(stream, "value"));
    const double timescale = std::max(1.0, xmlNumber(stream, "timescale").value_or(1));
    const double offset = xmlNumber(stream, "presentationTimeOffset").value_or(0);
    for (const pugi::xml_node node : childrenOf(stream, "Event")) {
      if (events.size() == kMaxEvents) return;
      const std::string content = contentOf(node);
      if (content.size() > kMaxEventBytes) continue;
      platform::TimedMetadataItem item;
      const double time = xmlNumber(node, "presentationTime").value_or(0) - offset;
      item.key = key;
      item.keySpace = std::string(kKeySpaceEvents);
      if (hasAttribute(node, "id"))
        item.extraAttributes.set(kEventIdentifier, std::string(attributeOf(node, "id")));
      if (const double duration = xmlNumber(node, "duration").value_or(0); duration > 0)
        item.extraAttributes.set(kEventDuration, duration / timescale);
      platform::Bytes data(content.size());
      std::transform(content.begin(), content.end(), data.begin(),
                     [](char each) { return static_cast<std::byte>(each); });
      item.value = platform::Value(std::move(data));
      events.push_back(
          {.position = std::max(0.0, periodStart + time / timescale),
           .item = std::make_shared<const platform::TimedMetadataItem>(std::move(item))});
    }
  }
}

}  // namespace streaming
