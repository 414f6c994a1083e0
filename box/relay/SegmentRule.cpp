#include "box/relay/SegmentRule.h"

#include <charconv>

namespace box {

std::optional<SegmentRule::Place> SegmentRule::placeOf(const std::string& url) const {
  if (form == Form::Whole) {
    if (url != before) return {};
    return Place{offset, duration};
  }
  if (form == Form::List) {
    const auto found = urls.find(url);
    return found == urls.end() ? std::nullopt : _placeOfNumber(found->second);
  }
  if (url.size() <= before.size() + behind.size() || !url.starts_with(before) ||
      !url.ends_with(behind))
    return {};
  std::uint64_t number = 0;
  const char* const end = url.data() + url.size() - behind.size();
  const auto parsed = std::from_chars(url.data() + before.size(), end, number);
  if (parsed.ec != std::errc{} || parsed.ptr != end) return {};
  return _placeOfNumber(number);
}

std::optional<SegmentRule::Place> SegmentRule::_placeOfNumber(std::uint64_t number) const {
  if (!runs || (form != Form::Time && number < firstNumber)) return {};
  std::uint64_t rest = number - firstNumber;
  for (const Run& run : *runs) {
    if (form == Form::Time) {
      if (number < run.time || run.duration == 0) continue;
      rest = (number - run.time) / run.duration;
    }
    if (rest < run.count) {
      const auto time = static_cast<double>(run.time) +
                        static_cast<double>(rest) * static_cast<double>(run.duration);
      return Place{offset + time / timescale, static_cast<double>(run.duration) / timescale};
    }
    rest -= run.count;
  }
  return {};
}

}  // namespace box
