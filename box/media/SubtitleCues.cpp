#include "box/media/SubtitleCues.h"

#include <algorithm>
#include <array>
#include <utility>

namespace box {
namespace {

bool beginsBefore(double seconds, const SubtitleCue& cue) { return seconds < cue.start; }

/// How far to look for a cue that is there already.
constexpr std::ptrdiff_t kNeighbours = 8;
/// Cues that follow each other may overlap by so much, in seconds.
constexpr double kSlack = 0.02;

/// Adaptive media give a cue another beginning, by milliseconds, after each seek.
bool isSame(const SubtitleCue& one, const SubtitleCue& other) {
  if (one.duration <= 0 || other.duration <= 0) return one == other;
  const auto beginsWithin = [](const SubtitleCue& late, const SubtitleCue& early) {
    return late.start < early.start + early.duration - kSlack;
  };
  return one.text == other.text && beginsWithin(one, other) && beginsWithin(other, one);
}

struct Entity {
  std::string_view name;
  std::string_view text;
};
constexpr std::array<Entity, 7> kEntities{{{"&amp;", "&"},
                                           {"&lt;", "<"},
                                           {"&gt;", ">"},
                                           {"&quot;", "\""},
                                           {"&apos;", "'"},
                                           {"&#39;", "'"},
                                           {"&nbsp;", "\u00a0"}}};

/// Where the tag that begins at `begin` has ended; `begin` itself when none begins there.
std::size_t afterTag(std::string_view text, std::size_t begin) {
  const std::size_t next = begin + 1;
  const bool isTag =
      next < text.size() &&
      (text[next] == '/' || (text[next] >= 'a' && text[next] <= 'z') ||
       (text[next] >= 'A' && text[next] <= 'Z') || (text[next] >= '0' && text[next] <= '9'));
  const std::size_t end = isTag ? text.find('>', next) : std::string_view::npos;
  return end == std::string_view::npos ? begin : end + 1;
}

}  // namespace

std::string SubtitleCues::textAt(double seconds) const {
  std::string text;
  const std::lock_guard lock(_mutex);
  if (_source == Source::None) return text;
  const std::vector<SubtitleCue>& cues = _source == Source::Media      ? _cues
                                         : _source == Source::Pictures ? _ofPictures
                                                                       : _beside;
  const auto last = std::upper_bound(cues.begin(), cues.end(), seconds, beginsBefore);
  for (auto cue = cues.begin(); cue != last; ++cue) {
    const bool ends = cue->duration != SubtitleCue::kUntilNext;
    if (ends ? seconds >= cue->start + cue->duration : std::next(cue) != last) continue;
    if (!text.empty()) text += '\n';
    text += cue->text;
  }
  return text;
}

void SubtitleCues::show(Source source) {
  const std::lock_guard lock(_mutex);
  _source = source;
}

void SubtitleCues::add(SubtitleCue cue) { _addTo(_cues, std::move(cue)); }

void SubtitleCues::addOfPictures(SubtitleCue cue) { _addTo(_ofPictures, std::move(cue)); }

void SubtitleCues::_addTo(std::vector<SubtitleCue>& cues, SubtitleCue cue) {
  if (cue.text.size() > kTextLimit) cue.text.resize(kTextLimit);
  const std::lock_guard lock(_mutex);
  const auto place = std::upper_bound(cues.begin(), cues.end(), cue.start, beginsBefore);
  const auto first = place - std::min(kNeighbours, place - cues.begin());
  const auto last = place + std::min(kNeighbours, cues.end() - place);
  if (std::any_of(first, last, [&](const SubtitleCue& each) { return isSame(each, cue); })) return;
  cues.insert(place, std::move(cue));
  if (cues.size() > kCueLimit) cues.erase(cues.begin());
}

void SubtitleCues::clear() {
  const std::lock_guard lock(_mutex);
  _cues.clear();
}

void SubtitleCues::clearThoseOfPictures() {
  const std::lock_guard lock(_mutex);
  _ofPictures.clear();
}

void SubtitleCues::setBeside(std::vector<SubtitleCue> cues) {
  for (SubtitleCue& each : cues)
    if (each.text.size() > kTextLimit) each.text.resize(kTextLimit);
  std::stable_sort(cues.begin(), cues.end(),
                   [](const auto& one, const auto& other) { return one.start < other.start; });
  const std::lock_guard lock(_mutex);
  _beside = std::move(cues);
}

std::string plainTextOfMarkup(std::string_view markup) {
  std::string text;
  for (std::size_t at = 0; at < markup.size();) {
    if (markup[at] == '<') {
      if (const std::size_t after = afterTag(markup, at); after != at) {
        at = after;
        continue;
      }
    } else if (markup[at] == '&') {
      const auto entity = std::find_if(kEntities.begin(), kEntities.end(), [&](const Entity& each) {
        return markup.substr(at).starts_with(each.name);
      });
      if (entity != kEntities.end()) {
        text += entity->text;
        at += entity->name.size();
        continue;
      }
    }
    if (markup[at] != '\r') text += markup[at];
    ++at;
  }
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace box
