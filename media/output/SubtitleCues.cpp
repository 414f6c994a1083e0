#include "media/output/SubtitleCues.h"

#include <algorithm>
#include <atomic>
#include <iterator>
#include <utility>

namespace media {
namespace {

using Cues = SubtitleCues::Cues;
using Change = SubtitleCues::Change;

std::atomic<std::uint64_t> lastIdentity = 0;

bool beginsBefore(double seconds, const std::shared_ptr<const SubtitleCue>& cue) {
  return seconds < cue->start;
}

/// How many neighbours to search for an equal cue.
constexpr std::ptrdiff_t kNeighbours = 8;
/// Successive cues may overlap by this many seconds.
constexpr double kSlack = 0.02;

/// In adaptive streams the start of a cue changes by milliseconds after each seek.
bool isSame(const SubtitleCue& one, const SubtitleCue& other) {
  if (one.duration <= 0 || other.duration <= 0 || one.endsAtNext) return one == other;
  const auto beginsWithin = [](const SubtitleCue& late, const SubtitleCue& early) {
    return late.start < early.start + early.duration - kSlack;
  };
  return one.text == other.text && beginsWithin(one, other) && beginsWithin(other, one) &&
         one.images == other.images;
}

}  // namespace

SubtitleCues::SubtitleCues(Observer observer)
    : _identity(++lastIdentity), _observer(std::move(observer)) {}

SubtitleCues::~SubtitleCues() {
  std::unique_lock lock(_mutex);
  _queueChange(Change::Kind::Destroyed);
  _notify(std::move(lock));
}

Cues SubtitleCues::at(double seconds) const {
  Cues found;
  const std::lock_guard lock(_mutex);
  if (_source == Source::None) return found;
  const Cues& cues = _source == Source::Media      ? _media.cues
                     : _source == Source::Captions ? _captions.cues
                                                   : _external.cues;
  const auto last = std::upper_bound(cues.begin(), cues.end(), seconds, beginsBefore);
  for (auto each = cues.begin(); each != last; ++each) {
    const SubtitleCue& cue = **each;
    const bool hasEnd = cue.duration != SubtitleCue::kUntilNext;
    if (hasEnd && seconds >= cue.start + cue.duration) continue;
    if ((!hasEnd || cue.endsAtNext) && std::next(each) != last) continue;
    if (!cue.isEmpty()) found.push_back(*each);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const auto& one, const auto& other) { return one->order < other->order; });
  const auto rendering =
      std::find_if(_renderings.rbegin(), _renderings.rend(), [&](const auto& each) {
        return seconds >= each->start && seconds < each->start + each->duration;
      });
  if (rendering != _renderings.rend() && !(*rendering)->isEmpty()) found.push_back(*rendering);
  return found;
}

std::string SubtitleCues::textAt(double seconds) const {
  std::string text;
  for (const auto& each : at(seconds)) {
    if (!text.empty()) text += '\n';
    text += each->text;
  }
  return text;
}

std::shared_ptr<const SubtitleStyles> SubtitleCues::styles() const {
  const std::lock_guard lock(_mutex);
  return _styles;
}

void SubtitleCues::show(Source source) {
  std::unique_lock lock(_mutex);
  if (std::exchange(_source, source) == source) return;
  _renderings.clear();
  _queueChange(Change::Kind::Show);
  _notify(std::move(lock));
}

void SubtitleCues::setStyles(std::shared_ptr<const SubtitleStyles> styles) {
  const std::lock_guard lock(_mutex);
  _styles = std::move(styles);
}

void SubtitleCues::add(SubtitleCue cue) { _addTo(_media, Change::Kind::Add, std::move(cue)); }

void SubtitleCues::addCaption(SubtitleCue cue) {
  _addTo(_captions, Change::Kind::AddCaptions, std::move(cue));
}

void SubtitleCues::_addTo(Store& store, Change::Kind kind, SubtitleCue cue) {
  bound(cue);
  std::unique_lock lock(_mutex);
  Cues& cues = store.cues;
  const auto place = std::upper_bound(cues.begin(), cues.end(), cue.start, beginsBefore);
  const auto first = place - std::min(kNeighbours, place - cues.begin());
  const auto last = place + std::min(kNeighbours, cues.end() - place);
  if (std::any_of(first, last, [&](const auto& each) { return isSame(*each, cue); })) return;
  store.bytes += bytesOf(cue);
  const auto added = std::make_shared<const SubtitleCue>(std::move(cue));
  cues.insert(place, added);
  while (cues.size() > kCueLimit || (cues.size() > 1 && store.bytes > kByteLimit)) {
    // Never drop the new cue: after a seek backwards it may be the earliest one.
    const auto gone = cues.front() == added ? std::prev(cues.end()) : cues.begin();
    store.bytes -= bytesOf(**gone);
    cues.erase(gone);
  }
  _queueChange(kind, {added});
  _notify(std::move(lock));
}

void SubtitleCues::clear() {
  std::unique_lock lock(_mutex);
  _media = {};
  if (_source == Source::Media) _renderings.clear();
  _queueChange(Change::Kind::Clear);
  _notify(std::move(lock));
}

void SubtitleCues::clearCaptions() {
  std::unique_lock lock(_mutex);
  _captions = {};
  _queueChange(Change::Kind::ClearCaptions);
  _notify(std::move(lock));
}

void SubtitleCues::setExternal(std::vector<SubtitleCue> cues) {
  _addExternal(Change::Kind::SetExternal, std::move(cues));
}

void SubtitleCues::addExternal(std::vector<SubtitleCue> cues) {
  _addExternal(Change::Kind::AddExternal, std::move(cues));
}

void SubtitleCues::_addExternal(Change::Kind kind, std::vector<SubtitleCue> more) {
  Cues shared;
  shared.reserve(more.size());
  for (SubtitleCue& each : more) {
    bound(each);
    shared.push_back(std::make_shared<const SubtitleCue>(std::move(each)));
  }
  Store old;  // outlives the lock
  std::unique_lock lock(_mutex);
  if (kind == Change::Kind::SetExternal) {
    std::swap(_external, old);
    if (_source == Source::External) _renderings.clear();
  }
  Cues& cues = _external.cues;
  std::size_t count = 0;
  for (; count < shared.size() && cues.size() < kCueLimit; ++count) {
    const std::size_t bytes = bytesOf(*shared[count]);
    if (_external.bytes + bytes > kByteLimit) break;
    _external.bytes += bytes;
    cues.push_back(shared[count]);
  }
  shared.resize(count);
  std::stable_sort(cues.begin(), cues.end(),
                   [](const auto& one, const auto& other) { return one->start < other->start; });
  _queueChange(kind, std::move(shared));
  _notify(std::move(lock));
}

void SubtitleCues::addRendering(Source source, SubtitleCue cue) {
  bound(cue);
  const auto added = std::make_shared<const SubtitleCue>(std::move(cue));
  std::unique_lock lock(_mutex);
  if (source != _source) return;
  _renderings.push_back(added);
  std::size_t bytes = 0;
  for (std::size_t index = _renderings.size(); index-- > 0;) {
    bytes += bytesOf(*_renderings[index]);
    const std::size_t count = _renderings.size() - index;
    if (count == 1 || (count <= kRenderingLimit && bytes <= kRenderingByteLimit)) continue;
    _renderings.erase(_renderings.begin(),
                      _renderings.begin() + static_cast<std::ptrdiff_t>(index) + 1);
    break;
  }
  _queueChange(Change::Kind::AddRendering, {added});
  _notify(std::move(lock));
}

void SubtitleCues::_queueChange(Change::Kind kind, Cues cues) {
  if (_observer) _pendingChanges.push_back({_identity, kind, _source, std::move(cues)});
}

/// One thread at a time calls the observer. It also delivers what other threads add meanwhile, so
/// that the order is kept.
void SubtitleCues::_notify(std::unique_lock<std::mutex> lock) {
  if (_isNotifying) return;
  _isNotifying = true;
  while (!_pendingChanges.empty()) {
    const Change change = std::move(_pendingChanges.front());
    _pendingChanges.pop_front();
    lock.unlock();
    _observer(change);
    lock.lock();
  }
  _isNotifying = false;
}

}  // namespace media
