#include "streaming/manifest/hls/HLSMediaReader.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "streaming/foundation/Text.h"
#include "streaming/foundation/URL.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/hls/HLSAlignment.h"

namespace streaming {
namespace {

/// Maximum number of segments plus parts.
constexpr std::size_t kMaxSegments = 200'000;
/// Limits the memory for resolved URLs: a short reference expands to the length of the playlist's
/// URL.
constexpr std::size_t kMaxURLBytes = std::size_t{64} * 1024 * 1024;
/// Prevents overflow.
constexpr std::uint64_t kMaxSequence = std::uint64_t{1} << 62U;
constexpr double kMarkTolerance = 1e-6;

std::optional<std::array<std::byte, 16>> initialVectorOf(std::string_view text) {
  if (!text.starts_with("0x") && !text.starts_with("0X")) return std::nullopt;
  text.remove_prefix(2);
  constexpr std::size_t kDigits = 32;
  if (text.empty() || text.size() > kDigits) return std::nullopt;
  const std::string digits = std::string(kDigits - text.size(), '0').append(text);
  std::array<std::byte, 16> vector{};
  for (std::size_t at = 0; at < vector.size(); ++at) {
    unsigned value = 0;
    const char* const begin = digits.data() + 2 * at;
    if (std::from_chars(begin, begin + 2, value, 16).ptr != begin + 2) return std::nullopt;
    vector[at] = static_cast<std::byte>(value);
  }
  return vector;
}

std::uint64_t sequenceFrom(std::string_view text) {
  const auto number = numberOf(text);
  return number && *number <= kMaxSequence ? *number : 0;
}

/// Preference among several keys: plain keys, then schemes that the sender serves, then other key
/// systems, whose URLs may not contain a usable key.
int rankOf(const SegmentKey& key) {
  if (key.keyFormat.empty() || key.keyFormat == "identity") return 3;
  if (isWebURL(key.url)) return 1;
  return schemeOf(key.url) == "data" ? 0 : 2;
}

const HLSSegmentIndex* hlsIndexOf(const std::shared_ptr<const MediaPlaylist>& playlist) {
  return playlist ? dynamic_cast<const HLSSegmentIndex*>(playlist->segments.get()) : nullptr;
}

bool hasSegments(const std::shared_ptr<const MediaPlaylist>& playlist) {
  const HLSSegmentIndex* const index = hlsIndexOf(playlist);
  return index && !index->segments().empty();
}

}  // namespace

HLSMediaReader::HLSMediaReader(const ManifestOrigin& origin, const PlaylistContext& context)
    : _origin(origin), _context(context) {}

void HLSMediaReader::addTag(std::string_view name, std::string_view value) {
  if (name == "EXTINF") {
    _head.isMedia = true;
    _state.duration = hlsSeconds(value.substr(0, value.find(',')));
  } else if (name == "EXT-X-TARGETDURATION") {
    _head.isMedia = true;
    _head.targetDuration = hlsSeconds(value);
  } else if (name == "EXT-X-MEDIA-SEQUENCE") {
    _head.mediaSequence = sequenceFrom(value);
  } else if (name == "EXT-X-DISCONTINUITY-SEQUENCE") {
    _state.discontinuity = sequenceFrom(value);
    _head.countsDiscontinuities = true;
  } else if (name == "EXT-X-DISCONTINUITY") {
    ++_state.discontinuity;
    _state.isDiscontinuous = true;
  } else if (name == "EXT-X-BYTERANGE") {
    _state.byteRange = value;
  } else if (name == "EXT-X-GAP") {
    _state.isGap = true;
  } else if (name == "EXT-X-KEY") {
    _addKey(HLSAttributes(value));
  } else if (name == "EXT-X-MAP") {
    _addMap(HLSAttributes(value));
  } else if (name == "EXT-X-PROGRAM-DATE-TIME") {
    _state.date = dateFrom(value);
  } else if (name == "EXT-X-DATERANGE") {
    _dateRanges.add(HLSAttributes(value), value.size());
  } else if (name == "EXT-X-PART") {
    _addPart(HLSAttributes(value));
  } else if (name == "EXT-X-PRELOAD-HINT") {
    _addHint(HLSAttributes(value));
  } else if (name == "EXT-X-PART-INF") {
    _head.partTarget = hlsSeconds(HLSAttributes(value).text("PART-TARGET"));
  } else if (name == "EXT-X-SERVER-CONTROL") {
    _addServerControl(HLSAttributes(value));
  } else if (name == "EXT-X-SKIP") {
    _skip(HLSAttributes(value));
  } else if (name == "EXT-X-START") {
    _head.startOffset = HLSAttributes(value).number("TIME-OFFSET");
  } else if (name == "EXT-X-ENDLIST") {
    _head.isEnded = true;
  } else if (name == "EXT-X-PLAYLIST-TYPE") {
    _head.isOnDemand = value == "VOD";
    _head.isEvent = value == "EVENT";
  } else if (name == "EXT-X-I-FRAMES-ONLY") {
    _head.isKeyFramesOnly = true;
  }
}

std::optional<std::string> HLSMediaReader::_resolved(std::string_view reference) {
  auto url = resolveURL(_origin.url, reference);
  if (url && _origin.inheritsQuery) url = withQueryOf(_origin.url, *url);
  _urlBytes += url ? url->size() : 0;
  _isBeyondLimits = _isBeyondLimits || _urlBytes > kMaxURLBytes;
  return url;
}

/// Consecutive EXT-X-KEY tags offer the same key in different formats. The first one of the highest
/// rank is used.
void HLSMediaReader::_addKey(const HLSAttributes& attributes) {
  const std::string method = attributes.text("METHOD");
  const bool isFirst = std::exchange(_state.keyHasSegments, false);
  if (isFirst || method == "NONE") _state.key = nullptr;
  // SAMPLE-AES-CTR is ignored: the mp4 samples contain their key IDs.
  const bool isKnown = method == "AES-128" || method == "SAMPLE-AES";
  auto url = isKnown ? _resolved(attributes.text("URI")) : std::nullopt;
  if (!url) return;
  SegmentKey key;
  key.method = method == "AES-128" ? SegmentKey::Method::AES128 : SegmentKey::Method::SampleAES;
  key.url = *std::move(url);
  key.keyFormat = attributes.text("KEYFORMAT");
  if (const auto vector = attributes.find("IV")) key.initialVector = initialVectorOf(*vector);
  if (_state.key && rankOf(*_state.key) >= rankOf(key)) return;
  _state.key = std::make_shared<const SegmentKey>(std::move(key));
}

void HLSMediaReader::_addMap(const HLSAttributes& attributes) {
  auto url = _resolved(attributes.text("URI"));
  if (!url) return;
  auto initialization = std::make_shared<Initialization>();
  initialization->resource.urls = {*std::move(url)};
  if (const auto range = attributes.find("BYTERANGE"))
    initialization->resource.span = hlsByteRange(*range, 0);
  if (_state.key && _state.key->method == SegmentKey::Method::AES128)
    initialization->key = _state.key;
  _state.initialization = std::move(initialization);
}

/// `end`: end of the previous byte range.
void HLSMediaReader::_addURLs(Segment& segment, std::optional<std::string> url,
                              std::string_view range, RangeEnd& end) {
  _isBeyondLimits = _isBeyondLimits || _segments.size() + _parts.size() >= kMaxSegments;
  if (!url) {
    segment.isGap = true;
    return;
  }
  if (!range.empty()) {
    const ByteSpan span =
        hlsByteRange(range, *url == end.url ? end.offset : 0).value_or(ByteSpan{});
    end = {*url, span.offset + span.length.value_or(0)};
    segment.resource.span = span;
  }
  segment.resource.urls = {*std::move(url)};
}

Segment HLSMediaReader::_nextSegment() const {
  Segment segment;
  segment.number = _head.mediaSequence + _segments.size();
  segment.start = _end;
  segment.initialization = _state.initialization;
  segment.key = _state.key;
  segment.discontinuity = _state.discontinuity;
  return segment;
}

void HLSMediaReader::_addPart(const HLSAttributes& attributes) {
  Segment part = _nextSegment();
  part.part = _partCount;
  part.start = _partCount++ == 0 ? _end : _partEnd;
  part.duration = hlsSeconds(attributes.text("DURATION"));
  part.isGap = attributes.isYes("GAP");
  _addURLs(part, _resolved(attributes.text("URI")), attributes.text("BYTERANGE"), _state.partRange);
  _partEnd = part.end();
  _state.keyHasSegments = true;
  _parts.push_back(std::move(part));
}

/// A hint with a start but without a length is ignored: the end of the part is not known.
void HLSMediaReader::_addHint(const HLSAttributes& attributes) {
  if (attributes.text("TYPE") != "PART" || _hint) return;
  const auto begin = attributes.integer("BYTERANGE-START");
  const auto length = attributes.integer("BYTERANGE-LENGTH");
  auto url = _resolved(attributes.text("URI"));
  if (!url || (begin && !length)) return;
  _hint = _nextSegment();
  _hint->part = _partCount;
  _hint->start = _partCount == 0 ? _end : _partEnd;
  _hint->duration = _head.partTarget;
  _hint->resource.urls = {*std::move(url)};
  if (length) _hint->resource.span = ByteSpan{begin.value_or(0), length};
}

void HLSMediaReader::addURI(std::string_view reference) {
  const auto duration = std::exchange(_state.duration, std::nullopt);
  const std::string range = std::exchange(_state.byteRange, {});
  const bool isGap = std::exchange(_state.isGap, false);
  if (!duration) return;
  Segment segment = _nextSegment();
  segment.duration = *duration;
  segment.isGap = isGap;
  segment.date = _state.date;
  _addURLs(segment, _resolved(reference), range, _state.segmentRange);
  _noteDate();
  _partCount = 0;
  _state.keyHasSegments = true;
  _end = segment.end();
  _segments.push_back(std::move(segment));
}

void HLSMediaReader::_noteDate() {
  if (!_state.date) return;
  // Without a date, the discontinuity applies to the next date.
  _dates.push_back(
      {.position = _end, .date = *_state.date, .isDiscontinuous = _state.isDiscontinuous});
  _state.isDiscontinuous = false;
  _state.date.reset();
}

void HLSMediaReader::_addServerControl(const HLSAttributes& attributes) {
  _head.canBlock = attributes.isYes("CAN-BLOCK-RELOAD");
  _head.canSkip = attributes.find("CAN-SKIP-UNTIL").has_value();
  const auto positive = [&](std::string_view name) {
    const auto seconds = attributes.number(name);
    return seconds && *seconds > 0 ? seconds : std::nullopt;
  };
  _head.holdBack = positive("HOLD-BACK");
  _head.partHoldBack = positive("PART-HOLD-BACK");
}

/// Copies skipped segments from the previous playlist.
void HLSMediaReader::_skip(const HLSAttributes& attributes) {
  const std::uint64_t count = attributes.integer("SKIPPED-SEGMENTS").value_or(0);
  const HLSSegmentIndex* const base = hlsIndexOf(_context.previous);
  if (std::exchange(_isDelta, true) || !_segments.empty() || !_parts.empty() || !base ||
      count > base->segments().size()) {
    _lacksBase = true;
    return;
  }
  _discontinuityShift = base->discontinuityShift();
  if (const auto removed = attributes.find("RECENTLY-REMOVED-DATERANGES"))
    _dateRanges.setRemoved(*removed);
  for (std::uint64_t number = _head.mediaSequence; number < _head.mediaSequence + count; ++number) {
    const Segment* const known = base->numbered(number);
    if (!known) {
      _lacksBase = true;
      return;
    }
    _noteSkippedDate(*known, _end);
    Segment segment = *known;
    segment.start = _end;
    _end = segment.end();
    _state.discontinuity = segment.discontinuity;
    _state.initialization = segment.initialization;
    _state.key = segment.key;
    _segments.push_back(std::move(segment));
  }
}

void HLSMediaReader::_noteSkippedDate(const Segment& known, double position) {
  if (!known.date) return;
  const auto& marks = _context.previous->dates;
  const auto mark =
      std::lower_bound(marks.begin(), marks.end(), known.start - kMarkTolerance,
                       [](const DateMark& each, double wanted) { return each.position < wanted; });
  const bool isDiscontinuous =
      mark != marks.end() && mark->date == *known.date && mark->isDiscontinuous;
  _dates.push_back({.position = position, .date = *known.date, .isDiscontinuous = isDiscontinuous});
}

ReloadRule HLSMediaReader::_reloadRule() const {
  ReloadRule rule;
  constexpr double kMinInterval = 0.5;
  rule.interval = std::max(_head.targetDuration, kMinInterval);
  rule.maySkip = _head.canSkip;
  if (!_head.canBlock) {
    if (_head.partTarget > 0) rule.interval = std::max(_head.partTarget, kMinInterval);
    return rule;
  }
  rule.awaitedNumber = _head.mediaSequence + _segments.size();
  if (_head.partTarget > 0) rule.awaitedPart = _partCount;
  return rule;
}

std::shared_ptr<const MediaPlaylist> HLSMediaReader::finish() {
  if (_lacksBase) return nullptr;
  auto playlist = std::make_shared<MediaPlaylist>();
  playlist->isLive = !_head.isEnded && !_head.isOnDemand;
  playlist->isEvent = _head.isEvent;
  playlist->isKeyFramesOnly = _head.isKeyFramesOnly;
  playlist->targetDuration = _head.targetDuration;
  playlist->startOffset = _head.startOffset;
  playlist->holdBack = _head.holdBack;
  // PART-HOLD-BACK applies only if the playlist has parts.
  if (_head.partTarget > 0) playlist->partHoldBack = _head.partHoldBack;
  if (playlist->isLive) playlist->reload = _reloadRule();
  _align(*playlist);
  playlist->events = _dateRanges.events(playlist->dates, _context.previous.get());
  playlist->segments =
      std::make_shared<HLSSegmentIndex>(std::move(_segments), std::move(_parts), std::move(_hint),
                                        !playlist->isLive, _discontinuityShift);
  return playlist;
}

void HLSMediaReader::_align(MediaPlaylist& playlist) {
  const bool isContinued = hasSegments(_context.previous);
  // A playlist that is complete now may have been live when the other one was loaded.
  const bool hasSibling = !isContinued && hasSegments(_context.sibling) &&
                          (playlist.isLive || _context.sibling->isLive ||
                           hlsIndexOf(_context.sibling)->segments().front().start > 0);
  const MediaPlaylist* const known = isContinued  ? _context.previous.get()
                                     : hasSibling ? _context.sibling.get()
                                                  : nullptr;
  // The first version of a live playlist may have parts only.
  const std::vector<Segment> firstPart(_parts.begin(), _parts.begin() + (_parts.empty() ? 0 : 1));
  const std::vector<Segment>& segments = _segments.empty() ? firstPart : _segments;
  playlist.dates = _dates;
  if (!known || segments.empty()) return;
  const UnalignedPlaylist unaligned{segments, _dates, _head.targetDuration,
                                    _head.countsDiscontinuities};
  const HLSAlignment alignment =
      isContinued ? alignedToPrevious(unaligned, *known) : alignedToSibling(unaligned, *known);
  _discontinuityShift += alignment.discontinuities;
  for (auto* const list : {&_segments, &_parts})
    for (Segment& segment : *list) {
      segment.start += alignment.seconds;
      segment.discontinuity += alignment.discontinuities;
    }
  if (_hint) {
    _hint->start += alignment.seconds;
    _hint->discontinuity += alignment.discontinuities;
  }
  for (DateMark& mark : playlist.dates) mark.position += alignment.seconds;
  // The start of the window may be dated by a mark that was removed from the playlist.
  const double start = _segments.empty() ? _parts.front().start : _segments.front().start;
  prependMark(known->dates, start, playlist.dates);
}

}  // namespace streaming
