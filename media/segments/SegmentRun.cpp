#include "media/segments/SegmentRun.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <string_view>

#include "media/metadata/ID3Tag.h"
#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

using streaming::ReadGate;
using streaming::SegmentBytes;
using streaming::TrackPiece;

constexpr std::uint64_t kLongestTags = std::uint64_t{1} << 20;
constexpr std::uint64_t kLongestEvent = std::uint64_t{256} << 10;
constexpr std::size_t kMaxEvents = 256;
constexpr std::size_t kMaxTags = 64;
constexpr std::size_t kShortHead = 16;
// Shorter distances are read instead of a seek.
constexpr double kMinSeekSeconds = 1;
constexpr std::int64_t kTimestampMask = (std::int64_t{1} << 33) - 1;

std::optional<ContainerFormat> formatOf(const SegmentBytes& bytes, std::uint64_t offset,
                                        const ReadGate& gate) {
  std::array<std::uint8_t, kFormatProbeBytes> head{};
  // Detecting a transport stream needs more bytes than the other formats.
  std::size_t length = readFully(bytes, offset, std::span(head).first(kShortHead), gate);
  if (const auto format = containerFormatOf(std::span(head).first(length))) return format;
  length = readFully(bytes, offset, head, gate);
  return containerFormatOf(std::span(head).first(length));
}

/// Finds the time stamp of packed audio in an ID3 tag (RFC 8216, section 3.4).
std::optional<std::int64_t> timestampIn(std::string_view tag) {
  constexpr std::string_view kOwner("transportStreamTimestamp\0", 25);
  const std::size_t owner = tag.find(kOwner);
  if (owner == std::string_view::npos || tag.size() - owner < kOwner.size() + 8)
    return std::nullopt;
  std::uint64_t value = 0;
  for (const char each : tag.substr(owner + kOwner.size(), 8))
    value = value << 8 | static_cast<unsigned char>(each);
  return static_cast<std::int64_t>(value) & kTimestampMask;
}

}  // namespace

std::unique_ptr<SegmentRun> SegmentRun::open(const TrackPiece& piece, Setup setup,
                                             const ReadGate& gate,
                                             std::optional<ContainerFormat>& format) {
  if (!piece.media) return nullptr;
  std::unique_ptr<SegmentRun> self(new SegmentRun);
  self->_input.setGate(&gate);
  std::uint64_t skip = 0;
  if (piece.initialization) {
    if (!piece.initialization->waitUntilComplete(gate)) return nullptr;
    format = formatOf(*piece.initialization, 0, gate);
    self->_input.append(piece.initialization);
  } else {
    skip = lengthOfID3Tags(*piece.media, gate);
    format = formatOf(*piece.media, skip, gate);
  }
  if (!format || gate.isClosed()) return nullptr;
  if (skip > 0 && skip < kLongestTags) self->_readTags(*piece.media, skip, gate);
  self->_input.append(piece.media, skip);
  self->_pieces.emplace_back(0, piece);
  const bool isIndexAtEnd =
      format == ContainerFormat::MP4 && !piece.initialization && isIndexLast(*piece.media, gate);
  const bool isSeekable = piece.media->isLong() && piece.media->isSeekable();
  if (isSeekable && piece.seekPosition &&
      *piece.seekPosition > piece.segment.start + kMinSeekSeconds)
    self->_seekTarget = piece.seekPosition;
  if (isIndexAtEnd || self->_seekTarget) {
    if (!isSeekable && !piece.media->waitUntilComplete(gate)) return nullptr;
    self->_input.setSeekable();
  } else if (format == ContainerFormat::MP4 && setup.wantsEvents) {
    self->_collectEvents(piece.initialization ? 1 : 0);
  }
  if (format == ContainerFormat::TransportStream && setup.wantsTags && !self->_seekTarget)
    self->_collectTags();
  if (format == ContainerFormat::MP4) self->_input.checkMovie();
  if (format == ContainerFormat::TransportStream)
    self->_input.setMoreHandler(std::move(setup.more));
  self->_container = MediaContainer::open(self->_input, *format);
  if (!self->_container) return nullptr;
  return self;
}

void SegmentRun::_readTags(const SegmentBytes& bytes, std::uint64_t length, const ReadGate& gate) {
  std::string text(static_cast<std::size_t>(length), '\0');
  const std::span whole(reinterpret_cast<std::uint8_t*>(text.data()), text.size());
  if (readFully(bytes, 0, whole, gate) < text.size()) return;
  _tagTimestamp = timestampIn(text);
  const std::size_t known = _tagTimestamp ? 1 : 0;
  if (itemsOfID3Tag(whole).size() > known) _tags.push_back(std::move(text));
}

void SegmentRun::_collectEvents(std::size_t part) {
  _boxes = std::make_unique<MovieBoxes>(
      [](std::uint32_t type) { return type == boxType("emsg") ? kLongestEvent : 0; },
      [this](std::uint32_t, BoxBytes content) {
        if (_events.size() == kMaxEvents) return;
        constexpr std::size_t kHeaderSize = 8;
        const std::size_t size = content.size() + kHeaderSize;
        std::string& box = _events.emplace_back();
        for (const unsigned shift : {24U, 16U, 8U, 0U})
          box.push_back(static_cast<char>(size >> shift & 0xff));
        box.append("emsg");
        box.append(reinterpret_cast<const char*>(content.data()), content.size());
      });
  _input.setTap(part, [this](std::span<const std::uint8_t> bytes) { _boxes->feed(bytes); });
}

/// Reads the tags from the raw stream: libavformat cuts off their headers.
void SegmentRun::_collectTags() {
  _metadata = std::make_unique<TransportMetadata>(
      [this](double seconds, std::span<const std::uint8_t> data) {
        constexpr std::string_view kTag = "ID3";
        constexpr double kTicksPerSecond = 90000;
        const std::string_view bytes(reinterpret_cast<const char*>(data.data()), data.size());
        if (!bytes.starts_with(kTag) || _streamTags.size() == kMaxTags) return;
        _streamTags.emplace_back(static_cast<std::int64_t>(*_metadata->firstTime()) +
                                     std::llround(seconds * kTicksPerSecond),
                                 bytes);
      });
  _input.setTap(0, [this](std::span<const std::uint8_t> bytes) { _metadata->feed(bytes); });
}

bool SegmentRun::isContinuedBy(const TrackPiece& next) const {
  const TrackPiece& newest = newestPiece();
  return next.kind == TrackPiece::Kind::Media && !next.isDiscontinuous && next.media &&
         !next.initialization && next.representation && newest.representation &&
         next.representation->id == newest.representation->id &&
         next.segment.discontinuity == newest.segment.discontinuity &&
         (next.sampleKey == newest.sampleKey ||
          (next.sampleKey && newest.sampleKey && *next.sampleKey == *newest.sampleKey));
}

void SegmentRun::extend(const TrackPiece& piece) {
  _input.append(piece.media);
  _pieces.emplace_back(_input.startOfLastPart(), piece);
  ++_pieceCount;
}

const TrackPiece& SegmentRun::pieceAt(std::int64_t position) {
  if (position < 0) return newestPiece();
  // A packet of the previous piece may be output after the next piece has begun.
  while (_pieces.size() > 2) _pieces.pop_front();
  const auto found = std::find_if(_pieces.rbegin(), _pieces.rend(), [&](const auto& each) {
    return each.first <= static_cast<std::uint64_t>(position);
  });
  return found == _pieces.rend() ? _pieces.front().second : found->second;
}

}  // namespace media
