#include "media/texts/TTMLTimedStyle.h"

#include <utility>

namespace media {

void TTMLTimedStyle::add(Change change) {
  if (changes.size() < kMaxChanges) changes.push_back(std::move(change));
}

TTMLStyle TTMLTimedStyle::at(double time) const {
  TTMLStyle result = style;
  for (const Change& each : changes)
    if (time >= each.begin && time < each.end) result.put(each.style);
  return result;
}

void TTMLTimedStyle::appendTimes(std::vector<double>& times) const {
  for (const Change& each : changes) times.insert(times.end(), {each.begin, each.end});
}

}  // namespace media
