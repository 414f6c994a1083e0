#include "streaming/manifest/HLSMediaReader.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "streaming/manifest/EventKeys.h"
#include "streaming/manifest/HLSAlignment.h"
#include "streaming/manifest/TimeText.h"
#include "streaming/manifest/URLReference.h"

namespace streaming {
namespace {

constexpr std::size_t kMostDateRanges = 1000;
constexpr std::size_t kMostDateRangeBytes = std::size_t{256} * 1024;

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

bool isIdentity(std::string_view keyFormat) { return keyFormat.empty() || keyFormat == "identity"; }

}  // namespace

HLSMediaReader::HLSMediaReader(const ManifestOrigin& origin, const PlaylistContext& context)
    : _origin(origin), _context(context) {}

void HLSMediaReader::addTag(std::string_view name, std::string_view value) {
  if (name == "EXTINF") {
    _isMedia = true;
    _duration = hlsSeconds(value.substr(0, value.find(',')));
  } else if (name == "EXT-X-TARGETDURATION") {
    _isMedia = true;
    _targetDuration = hlsSeconds(value);
  } else if (name == "EXT-X-MEDIA-SEQUENCE") {
    _mediaSequence = hlsInteger(value).value_or(0);
  } else if (name == "EXT-X-DISCONTINUITY-SEQUENCE") {
    _discontinuity = hlsInteger(value).value_or(0);
    _countsDiscontinuities = true;
  } else if (name == "EXT-X-DISCONTINUITY") {
    ++_discontinuity;
    _isDiscontinuous = true;
  } else if (name == "EXT-X-BYTERANGE") {
    _byteRange = value;
  } else if (name == "EXT-X-GAP") {
    _isGap = true;
  } else if (name == "EXT-X-KEY") {
    _addKey(HLSAttributes(value));
  } else if (name == "EXT-X-MAP") {
    _addMap(HLSAttributes(value));
  } else if (name == "EXT-X-PROGRAM-DATE-TIME") {
    _date = dateFrom(value);
  } else if (name == "EXT-X-DATERANGE") {
    _addDateRange(HLSAttributes(value), value.size());
  } else if (name == "EXT-X-PART") {
    _addPart(HLSAttributes(value));
  } else if (name == "EXT-X-PART-INF") {
    _partTarget = hlsSeconds(HLSAttributes(value).text("PART-TARGET"));
  } else if (name == "EXT-X-SERVER-CONTROL") {
    _addServerControl(HLSAttributes(value));
  } else if (name == "EXT-X-SKIP") {
    _skip(HLSAttributes(value));
  } else if (name == "EXT-X-START") {
    _startOffset = HLSAttributes(value).number("TIME-OFFSET");
  } else if (name == "EXT-X-ENDLIST") {
    _isEnded = true;
  } else if (name == "EXT-X-PLAYLIST-TYPE") {
    _isOnDemand = value == "VOD";
    _isEvent = value == "EVENT";
  } else if (name == "EXT-X-I-FRAMES-ONLY") {
    _isKeyFramesOnly = true;
  }
}

std::optional<std::string> HLSMediaReader::_resolved(std::string_view reference) const {
  auto url = resolveURL(_origin.url, reference);
  if (url && _origin.inheritsQuery) *url = withQueryOf(_origin.url, *std::move(url));
  return url;
}

/// Of several keys for the same segments, which are of different key systems, the one whose key is
/// served as it is wins, else the first, which the sender may know.
void HLSMediaReader::_addKey(const HLSAttributes& attributes) {
  const std::string method = attributes.text("METHOD");
  const bool isFirst = std::exchange(_keyHasSegments, false);
  if (isFirst || method == "NONE") _key = nullptr;
  // In CTR mode the samples of an mp4 name their keys.
  const bool isKnown = method == "AES-128" || method == "SAMPLE-AES";
  auto url = isKnown ? _resolved(attributes.text("URI")) : std::nullopt;
  if (!url) return;
  SegmentKey key;
  key.method = method == "AES-128" ? SegmentKey::Method::AES128 : SegmentKey::Method::SampleAES;
  key.url = *std::move(url);
  key.keyFormat = attributes.text("KEYFORMAT");
  if (const auto vector = attributes.find("IV")) key.initialVector = initialVectorOf(*vector);
  if (_key && (isIdentity(_key->keyFormat) || !isIdentity(key.keyFormat))) return;
  _key = std::make_shared<const SegmentKey>(std::move(key));
}

void HLSMediaReader::_addMap(const HLSAttributes& attributes) {
  auto url = _resolved(attributes.text("URI"));
  if (!url) return;
  auto initialization = std::make_shared<Initialization>();
  initialization->resource.urls = {*std::move(url)};
  if (const auto range = attributes.find("BYTERANGE"))
    initialization->resource.span = hlsByteRange(*range, 0);
  if (_key && _key->method == SegmentKey::Method::AES128) initialization->key = _key;
  _initialization = std::move(initialization);
}

ByteSpan HLSMediaReader::_spanOf(std::string_view text, const std::string& url) const {
  return hlsByteRange(text, url == _lastURL ? _lastEnd : 0).value_or(ByteSpan{});
}

Segment HLSMediaReader::_nextSegment() const {
  Segment segment;
  segment.number = _mediaSequence + _segments.size();
  segment.start = _end;
  segment.initialization = _initialization;
  segment.key = _key;
  segment.discontinuity = _discontinuity;
  return segment;
}

void HLSMediaReader::_addPart(const HLSAttributes& attributes) {
  auto url = _resolved(attributes.text("URI"));
  if (!url) return;
  Segment part = _nextSegment();
  part.part = _partCount;
  part.start = _partCount++ == 0 ? _end : _partEnd;
  part.duration = hlsSeconds(attributes.text("DURATION"));
  if (const auto range = attributes.find("BYTERANGE")) {
    part.resource.span = _spanOf(*range, *url);
    _lastURL = *url;
    _lastEnd = part.resource.span->offset + part.resource.span->length.value_or(0);
  }
  part.resource.urls = {*std::move(url)};
  part.isGap = attributes.isYes("GAP");
  _partEnd = part.end();
  _keyHasSegments = true;
  if (part.duration > 0) _parts.push_back(std::move(part));
}

void HLSMediaReader::addURI(std::string_view reference) {
  const auto duration = std::exchange(_duration, std::nullopt);
  auto url = _resolved(reference);
  _partCount = 0;
  if (!duration || !url) return;
  Segment segment = _nextSegment();
  segment.duration = *duration;
  segment.isGap = std::exchange(_isGap, false);
  if (const std::string range = std::exchange(_byteRange, {}); !range.empty()) {
    segment.resource.span = _spanOf(range, *url);
    _lastURL = *url;
    _lastEnd = segment.resource.span->offset + segment.resource.span->length.value_or(0);
  }
  segment.resource.urls = {*std::move(url)};
  if (_date) segment.date = _date;
  _noteDate(_isDiscontinuous);
  _keyHasSegments = true;
  _end = segment.end();
  _segments.push_back(std::move(segment));
}

void HLSMediaReader::_noteDate(bool isDiscontinuity) {
  if (!_date) return;
  // A discontinuity without a date holds until the next date.
  _dates.push_back({.position = _end, .date = *_date, .isDiscontinuous = isDiscontinuity});
  _isDiscontinuous = false;
  _date.reset();
}

void HLSMediaReader::_addServerControl(const HLSAttributes& attributes) {
  _canBlock = attributes.isYes("CAN-BLOCK-RELOAD");
  _canSkip = attributes.find("CAN-SKIP-UNTIL").has_value();
  _holdBack = attributes.number("HOLD-BACK");
  _partHoldBack = attributes.number("PART-HOLD-BACK");
}

/// Segments that the server left out are those of the playlist before.
void HLSMediaReader::_skip(const HLSAttributes& attributes) {
  const std::uint64_t count = attributes.integer("SKIPPED-SEGMENTS").value_or(0);
  const auto base =
      _context.previous
          ? std::dynamic_pointer_cast<const HLSSegmentIndex>(_context.previous->segments)
          : nullptr;
  for (std::uint64_t number = _mediaSequence; number < _mediaSequence + count; ++number) {
    const Segment* const known = base ? base->numbered(number) : nullptr;
    if (!known) {
      _lacksBase = true;
      return;
    }
    Segment segment = *known;
    segment.start = _end;
    _end = segment.end();
    if (segment.date)
      _dates.push_back(
          {.position = segment.start, .date = *segment.date, .isDiscontinuous = false});
    _discontinuity = segment.discontinuity;
    _initialization = segment.initialization;
    _key = segment.key;
    _segments.push_back(std::move(segment));
  }
}

void HLSMediaReader::_addDateRange(const HLSAttributes& attributes, std::size_t size) {
  _dateRangeBytes += size;
  if (_dateRanges.size() == kMostDateRanges || _dateRangeBytes > kMostDateRangeBytes) return;
  DateRange range;
  const auto start = dateFrom(attributes.text("START-DATE"));
  if (!start) return;
  range.start = *start;
  range.identifier = attributes.text("ID");
  range.endsOnNext = attributes.isYes("END-ON-NEXT");
  if (const auto duration = attributes.find("DURATION")) range.duration = hlsSeconds(*duration);
  if (const auto end = dateFrom(attributes.text("END-DATE")); end && !range.duration)
    range.duration = std::max(0.0, end->secondsSince1970 - start->secondsSince1970);
  platform::Dictionary details;
  for (const auto& [name, text] : attributes.all())
    if (name.starts_with("X-") || name.starts_with("SCTE35-")) details.set(name, std::string(text));
  const std::string kind = attributes.text("CLASS");
  range.item.key = kind.empty() ? std::string(kKeySpaceDateRanges) : kind;
  range.item.keySpace = std::string(kKeySpaceDateRanges);
  range.item.value = std::move(details);
  _dateRanges.push_back(std::move(range));
}

ReloadRule HLSMediaReader::_reloadRule() const {
  ReloadRule rule;
  constexpr double kShortest = 0.5;
  rule.interval = std::max(_targetDuration, kShortest);
  rule.maySkip = _canSkip;
  if (!_canBlock) return rule;
  rule.awaitedNumber = _mediaSequence + _segments.size();
  if (_partTarget > 0) rule.awaitedPart = _partCount;
  return rule;
}

std::shared_ptr<const MediaPlaylist> HLSMediaReader::finish() {
  if (_lacksBase) return nullptr;
  auto playlist = std::make_shared<MediaPlaylist>();
  playlist->isLive = !_isEnded && !_isOnDemand;
  playlist->isEvent = _isEvent;
  playlist->isKeyFramesOnly = _isKeyFramesOnly;
  playlist->targetDuration = _targetDuration;
  playlist->startOffset = _startOffset;
  playlist->holdBack = _holdBack;
  playlist->partHoldBack = _partHoldBack;
  if (playlist->isLive) playlist->reload = _reloadRule();
  _align(*playlist);
  _addEvents(*playlist);
  playlist->segments =
      std::make_shared<HLSSegmentIndex>(std::move(_segments), std::move(_parts), !playlist->isLive);
  return playlist;
}

void HLSMediaReader::_align(MediaPlaylist& playlist) {
  double offset = 0;
  const MediaPlaylist* const known = _context.previous ? _context.previous.get()
                                     : playlist.isLive ? _context.beside.get()
                                                       : nullptr;
  if (known && !_segments.empty())
    offset = alignmentOffset(_segments, _dates, *known, _context.previous != nullptr);
  for (Segment& segment : _segments) segment.start += offset;
  // Without EXT-X-DISCONTINUITY-SEQUENCE the count begins anew with each version.
  const auto base =
      _context.previous && !_countsDiscontinuities && !_segments.empty()
          ? std::dynamic_pointer_cast<const HLSSegmentIndex>(_context.previous->segments)
          : nullptr;
  if (const Segment* const same = base ? base->numbered(_segments.front().number) : nullptr) {
    const std::uint64_t missed = same->discontinuity - _segments.front().discontinuity;
    for (Segment& segment : _segments) segment.discontinuity += missed;
    for (Segment& part : _parts) part.discontinuity += missed;
  }
  for (Segment& part : _parts) part.start += offset;
  for (DateMark& mark : _dates) mark.position += offset;
  playlist.dates = _dates;
  // The date of the window's beginning may be told by a mark that has slid out of it.
  if (known && !_segments.empty())
    keepEarlierMark(known->dates, _segments.front().start, playlist.dates);
}

/// Dates of events become positions by the marks.
void HLSMediaReader::_addEvents(MediaPlaylist& playlist) const {
  if (playlist.dates.empty()) return;
  for (const DateRange& range : _dateRanges) {
    PresentationEvent event;
    event.position = positionByMarks(range.start, playlist.dates);
    if (event.position < 0) continue;
    event.item = range.item;
    auto duration = range.duration;
    if (!duration && range.endsOnNext)
      for (const DateRange& next : _dateRanges)
        if (next.item.key == range.item.key && next.start > range.start) {
          const double seconds = next.start.secondsSince1970 - range.start.secondsSince1970;
          duration = duration ? std::min(*duration, seconds) : seconds;
        }
    if (!range.identifier.empty())
      event.item.extraAttributes.set(kEventIdentifier, range.identifier);
    if (duration) event.item.extraAttributes.set(kEventDuration, *duration);
    playlist.events.push_back(std::move(event));
  }
}

}  // namespace streaming
