#include "media/segments/SegmentDemuxer.h"

#include <algorithm>
#include <cmath>

#include "media/segments/CodecCaps.h"
#include "media/segments/PacketBuffer.h"
#include "media/segments/TimestampOffsets.h"
#include "media/support/GstTime.h"
#include "platform/foundation/log/TVSLogger.h"

namespace media {

using platform::Error;
using platform::MediaErrorCode;
using streaming::ReadGate;
using streaming::TrackPiece;

namespace {

constexpr auto kWarningInterval = std::chrono::seconds(10);
/// Number of unreadable pieces at the beginning after which the track fails.
constexpr int kMaxUnreadable = 2;

}  // namespace

SegmentDemuxer::SegmentDemuxer(Setup setup)
    : _setup(std::move(setup)),
      _track(_setup.offsets ? _setup.offsets->addTrack() : 0),
      _decryption(_setup.keys),
      _outputs{Output{.kind = ElementaryKind::Video, .isWanted = _setup.wantsVideo},
               Output{.kind = ElementaryKind::Audio, .isWanted = _setup.wantsAudio}} {}

void SegmentDemuxer::reset() {
  _run = nullptr;
  _nextPiece.reset();
  _items.clear();
  _failure.reset();
  for (Output& output : _outputs) {
    output.caps = nullptr;
    output.isDiscontinuous = true;
    output.clock.restart();
  }
}

std::optional<ElementaryItem> SegmentDemuxer::next(const ReadGate& gate) {
  _gate = &gate;
  if (_run) _run->setGate(gate);
  while (!gate.isClosed()) {
    if (!_items.empty()) {
      ElementaryItem item = std::move(_items.front());
      _items.pop_front();
      return item;
    }
    if (_failure) return ElementaryFailure{*_failure};
    if (_run)
      _readPacket(gate);
    else if (!_beginPiece(gate))
      return std::nullopt;
  }
  return std::nullopt;
}

bool SegmentDemuxer::_beginPiece(const ReadGate& gate) {
  std::optional<TrackPiece> piece = std::exchange(_nextPiece, std::nullopt);
  if (!piece) piece = _setup.reader->next(gate);
  if (!piece) return false;
  switch (piece->kind) {
    case TrackPiece::Kind::Media:
      _beginRun(*piece, gate);
      break;
    case TrackPiece::Kind::Gap:
      _emitGap(piece->segment.start, piece->segment.end());
      break;
    case TrackPiece::Kind::End:
      if (_unreadablePieces > 0 && !_hasPacket)
        _fail(MediaErrorCode::DecodeFailed, "None of the segments can be read.");
      else
        _items.emplace_back(ElementaryEnd{});
      break;
    case TrackPiece::Kind::Failed:
      _failure = piece->error.value_or(Error{std::string(platform::kMediaErrorDomain),
                                             static_cast<std::int64_t>(MediaErrorCode::Unknown),
                                             {},
                                             {},
                                             {}});
      break;
  }
  return true;
}

void SegmentDemuxer::_beginRun(const TrackPiece& piece, const ReadGate& gate) {
  std::optional<ContainerFormat> format;
  _run = SegmentRun::open(piece,
                          {.wantsEvents = static_cast<bool>(_setup.foundEvent),
                           .wantsTags = static_cast<bool>(_setup.foundID3),
                           .more = [this] { return _extendRun(); }},
                          gate, format);
  if (gate.isClosed()) return;
  if (!_run) return _skipUnreadablePiece(piece, format);
  _streamCount = 0;
  _hasPacketOfPiece = false;
  _hasReportedContent = false;
  _offset = piece.representation ? piece.representation->timeOffset : std::nullopt;
  _reference.reset();
  _framePosition = 0;
  for (Output& output : _outputs) {
    output.stream = -1;
    output.lastPiece = 0;
    if (piece.isDiscontinuous) {
      output.clock.noteDiscontinuity();
      output.isDiscontinuous = true;
    }
    output.clock.beginPiece();
  }
}

bool SegmentDemuxer::_extendRun() {
  // A piece without packets ends its run, so that _endRun() skips it.
  if (!_run || !_hasPacketOfPiece || _nextPiece) return false;
  _reportContent(true);
  auto piece = _setup.reader->next(*_gate);
  if (!piece) return false;
  if (!_run->isContinuedBy(*piece)) {
    _nextPiece = std::move(piece);
    return false;
  }
  _hasPacketOfPiece = false;
  _run->extend(*piece);
  return true;
}

void SegmentDemuxer::_endRun() {
  _emitMetadata();
  if (_hasPacketOfPiece) _reportContent(true);
  const TrackPiece piece = _run->newestPiece();
  const ContainerFormat format = _run->format();
  const bool hasFailed = _run->hasFailed();
  _run = nullptr;
  if (!_hasPacketOfPiece) return _skipUnreadablePiece(piece, format);
  if (!hasFailed) return;
  std::int64_t end = nanosecondsOf(piece.segment.start);
  for (const Output& output : _outputs) end = std::max(end, output.clock.end().value_or(end));
  _warn("ended too early", piece);
  _emitGap(secondsOf(end), piece.segment.end());
}

void SegmentDemuxer::_readPacket(const ReadGate& gate) {
  AVPacket* const packet = _run->container().read();
  if (gate.isClosed()) return;
  if (!packet) return _endRun();
  _chooseStreams();
  _reportContent(false);
  const auto streams = _run->container().streams();
  const auto index = static_cast<std::size_t>(packet->stream_index);
  if (packet->stream_index < 0 || index >= streams.size()) return;
  const AVStream& stream = *streams[index];
  Output* const output = _outputFor(stream);
  if (output && !_seekWithinPiece(*output, stream, *packet)) _take(*output, stream, *packet);
}

/// Seeks within a long piece to the position that was sought. The offset of its time stamps is
/// known from its first packet. Returns false if `packet` is the next packet to output.
bool SegmentDemuxer::_seekWithinPiece(const Output& output, const AVStream& stream,
                                      const AVPacket& packet) {
  const auto sought = _run->takeSeekTarget();
  // Packed audio has no time stamps: its position is counted from the first frame.
  if (!sought || isPackedAudio(_run->format())) return false;
  if (!_timingFor(output, _rawTimes(stream, packet), _run->newestPiece()) || !_offset) return false;
  // Key frames of a transport stream are only known after reading: seek back one group of pictures.
  constexpr double kLongestGroup = 10;
  const bool isStream = _run->format() == ContainerFormat::TransportStream;
  const double place = *sought - (isStream ? kLongestGroup : 0);
  if (place <= _run->newestPiece().segment.start) return false;
  return _run->container().seek(place - *_offset);
}

bool SegmentDemuxer::_isID3Stream(const AVStream& stream) const {
  // Without a descriptor libavformat guesses the codec, and an ID3 tag looks like the start of an
  // MP3.
  constexpr std::uint32_t kMetadataType = 0x15;
  return _run->format() == ContainerFormat::TransportStream &&
         stream.codecpar->codec_tag == kMetadataType;
}

/// Reports which kinds of streams the pieces of the representation have. In a transport stream they
/// are found while reading.
void SegmentDemuxer::_reportContent(bool isPieceOver) {
  const auto& representation = _run->newestPiece().representation;
  if (_hasReportedContent || !representation) return;
  streaming::ContainedStreams content;
  bool isUnknown = false;
  for (const AVStream* const stream : _run->container().streams()) {
    const AVMediaType type = stream->codecpar->codec_type;
    if ((stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 || _isID3Stream(*stream)) continue;
    if (type == AVMEDIA_TYPE_VIDEO) content.hasVideo = true;
    if (type == AVMEDIA_TYPE_AUDIO) content.hasAudio = true;
    if (type == AVMEDIA_TYPE_UNKNOWN) isUnknown = true;
  }
  const bool isComplete = isPieceOver || _run->format() != ContainerFormat::TransportStream;
  const bool hasBoth = content.hasVideo && content.hasAudio;
  const bool hasOne = content.hasVideo || content.hasAudio;
  if (!hasBoth && (!hasOne || isUnknown || !isComplete)) return;
  _hasReportedContent = true;
  _setup.reader->setContainedStreams(*representation, content);
}

void SegmentDemuxer::_chooseStreams() {
  const auto streams = _run->container().streams();
  for (; _streamCount < streams.size(); ++_streamCount) {
    AVStream& stream = *streams[_streamCount];
    const AVMediaType type = stream.codecpar->codec_type;
    const bool isWanted = (type == AVMEDIA_TYPE_VIDEO && _setup.wantsVideo) ||
                          (type == AVMEDIA_TYPE_AUDIO && _setup.wantsAudio) ||
                          type == AVMEDIA_TYPE_UNKNOWN;
    if (!isWanted || _isID3Stream(stream)) stream.discard = AVDISCARD_ALL;
  }
}

SegmentDemuxer::Output* SegmentDemuxer::_outputFor(const AVStream& stream) {
  const AVMediaType type = stream.codecpar->codec_type;
  if (type != AVMEDIA_TYPE_VIDEO && type != AVMEDIA_TYPE_AUDIO) return nullptr;
  if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) != 0 || _isID3Stream(stream))
    return nullptr;
  Output& output = _outputs[type == AVMEDIA_TYPE_VIDEO ? 0 : 1];
  if (!output.isWanted) return nullptr;
  const bool isSilent = _run->pieceCount() > output.lastPiece + 1;
  if (output.stream != stream.index) {
    if (output.stream >= 0 && !isSilent) return nullptr;
    if (!capsOf(stream, {stream.codecpar->extradata,
                         static_cast<std::size_t>(stream.codecpar->extradata_size)}))
      return nullptr;
    output.stream = stream.index;
    output.setup.clear();
    output.shape = {};
  }
  output.lastPiece = _run->pieceCount();
  return &output;
}

void SegmentDemuxer::_take(Output& output, const AVStream& stream, AVPacket& packet) {
  const bool isPicture = output.kind == ElementaryKind::Video;
  const TrackPiece& piece = _run->pieceAt(packet.pos);
  switch (_decryption.decrypt(packet, stream.codecpar->codec_id, piece, *_gate)) {
    case SampleDecryption::Outcome::Clear:
      break;
    case SampleDecryption::Outcome::Cancelled:
      return;
    case SampleDecryption::Outcome::NoKey:
      return _fail(MediaErrorCode::ContentNotAuthorized, "There is no key for the media.");
    case SampleDecryption::Outcome::Unusable:
      return _fail(MediaErrorCode::DecodeFailed, "The encryption is of an unknown kind.");
  }
  const RawTimes raw = _rawTimes(stream, packet);
  const auto timing = _timingFor(output, raw, piece);
  if (!timing || !_emitFormat(output, stream, packet)) return;
  const PacketTimes times = output.clock.timesOf(raw, *timing);
  if (times.wasMoved) _warn("has time stamps far from its place", piece);
  // The last access unit of a piece may be output after the next piece has begun.
  if (&piece == &_run->newestPiece()) _hasPacketOfPiece = true;
  _hasPacket = true;
  GstRef<GstBuffer> buffer = bufferOf(packet, times, isPicture);
  if (!buffer) return;
  if (std::exchange(output.isDiscontinuous, false))
    GST_BUFFER_FLAG_SET(buffer.get(), GST_BUFFER_FLAG_DISCONT);
  _items.emplace_back(ElementaryBuffer{output.kind, std::move(buffer)});
  _emitMetadata();
}

bool SegmentDemuxer::_emitFormat(Output& output, const AVStream& stream, const AVPacket& packet) {
  const AVCodecParameters& parameters = *stream.codecpar;
  const std::array<std::int64_t, 5> shape{parameters.codec_id, parameters.width, parameters.height,
                                          parameters.sample_rate, parameters.ch_layout.nb_channels};
  std::size_t size = 0;
  const std::uint8_t* const fresh =
      av_packet_get_side_data(&packet, AV_PKT_DATA_NEW_EXTRADATA, &size);
  if (!fresh && output.caps && shape == output.shape) return true;
  if (fresh)
    output.setup.assign(fresh, fresh + size);
  else if (output.shape != shape)
    output.setup.assign(parameters.extradata, parameters.extradata + parameters.extradata_size);
  output.shape = shape;
  GstRef<GstCaps> caps = capsOf(stream, output.setup);
  if (!caps) return false;
  if (output.caps && gst_caps_is_equal(output.caps.get(), caps.get())) return true;
  output.caps.reset(gst_caps_ref(caps.get()));
  _items.emplace_back(ElementaryFormat{output.kind, std::move(caps)});
  return true;
}

void SegmentDemuxer::_skipUnreadablePiece(const TrackPiece& piece,
                                          std::optional<ContainerFormat> format) {
  _warn("cannot be read", piece);
  _emitGap(piece.segment.start, piece.segment.end());
  if (_hasPacket || ++_unreadablePieces < kMaxUnreadable) return;
  _fail(format ? MediaErrorCode::DecodeFailed : MediaErrorCode::FormatNotRecognized,
        "The segments cannot be read.");
}

void SegmentDemuxer::_fail(MediaErrorCode code, const char* reason) {
  _failure = Error{std::string(platform::kMediaErrorDomain),
                   static_cast<std::int64_t>(code),
                   code == MediaErrorCode::ContentNotAuthorized ? "The media are not authorised."
                                                                : "The media cannot be decoded.",
                   reason,
                   {}};
}

void SegmentDemuxer::_emitGap(double start, double end) {
  for (Output& output : _outputs) output.isDiscontinuous = true;
  if (end > start) _items.emplace_back(ElementaryGap{start, end});
}

void SegmentDemuxer::_warn(const char* what, const TrackPiece& piece) {
  const auto now = std::chrono::steady_clock::now();
  if (now < _nextWarning) return;
  _nextWarning = now + kWarningInterval;
  TVSLogWarning(TVSSystemLog, "Segment %lu at %f s %@", piece.segment.number, piece.segment.start,
                what);
}

}  // namespace media
