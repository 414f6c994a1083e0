// Segments of HLS and DASH, from their bytes to access units and cues.

#include <cmath>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>

#include <gst/gst.h>

#include "fuzz/support/FuzzTarget.h"
#include "media/segments/AudioFrames.h"
#include "media/segments/SampleAES.h"
#include "media/segments/SegmentDemuxer.h"
#include "media/segments/TextSegments.h"
#include "media/segments/TimestampOffsets.h"
#include "media/support/LibavLog.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/mem.h>
}

namespace fuzz {
namespace {

using streaming::TrackPiece;

/// GStreamer's buffers and caps, without plugins.
void startGStreamer() {
  static const bool isStarted = [] {
    setenv("GST_REGISTRY_DISABLE", "yes", 1);
    setenv("GST_PLUGIN_SYSTEM_PATH_1_0", "", 1);
    setenv("GST_REGISTRY_FORK", "no", 1);
    gst_init(nullptr, nullptr);
    media::silenceLibav();
    // libavformat allocates what a box announces before it reads the box. The pages are never
    // touched.
    av_max_alloc(std::size_t{16} << 20);
    return true;
  }();
  static_cast<void>(isStarted);
}

std::shared_ptr<const streaming::SegmentBytes> bytesOf(std::string_view text) {
  auto bytes = std::make_shared<streaming::SegmentBytes>();
  bytes->append(text);
  bytes->complete();
  return bytes;
}

/// Returns the pieces, then the end.
class ListedTrack final : public streaming::TrackReader {
 public:
  std::optional<TrackPiece> next(const streaming::ReadGate&) override {
    TrackPiece piece;
    piece.kind = TrackPiece::Kind::End;
    if (pieces.empty()) return piece;
    piece = std::move(pieces.front());
    pieces.pop_front();
    return piece;
  }
  void seek(double) override {}

  std::deque<TrackPiece> pieces;
};

/// The parts of the input: options, an initialization segment, and segments. An empty
/// initialization segment means that there is none.
std::deque<TrackPiece> piecesOf(Bytes input,
                                const std::shared_ptr<streaming::Representation>& kind) {
  constexpr std::size_t kMostPieces = 4;
  const std::uint8_t options = takeByte(input);
  // Segments contain any byte, so their lengths are in front of them.
  const auto part = [&] {
    const std::size_t size = takeSize(input);
    return textOf(takeBytes(input, size));
  };
  const std::string_view initialization = part();
  std::deque<TrackPiece> pieces;
  while (!input.empty() && pieces.size() < kMostPieces) {
    TrackPiece& piece = pieces.emplace_back();
    piece.segment.number = pieces.size();
    piece.segment.start = static_cast<double>(pieces.size() - 1);
    piece.segment.duration = 1;
    piece.representation = kind;
    if (!initialization.empty()) piece.initialization = bytesOf(initialization);
    piece.media = bytesOf(part());
    piece.isDiscontinuous = pieces.size() == 1 || (options & 1) != 0;
    if ((options & 2) != 0) piece.sampleKey = std::make_shared<std::string>(16, 'k');
    if ((options & 4) != 0 && pieces.size() == 1) piece.seekPosition = 0.5;
  }
  return pieces;
}

void demuxSegments(Bytes input) {
  startGStreamer();
  auto track = std::make_shared<ListedTrack>();
  track->pieces = piecesOf(input, std::make_shared<streaming::Representation>());
  media::TrackDemuxer::Setup setup;
  setup.reader = track;
  setup.offsets = std::make_shared<media::TimestampOffsets>();
  setup.foundID3 = [](double, const std::string&) {};
  setup.foundEvent = [](double, double, const std::string&) {};
  const auto demuxer = media::TrackDemuxer::make(std::move(setup));
  const streaming::ReadGate gate;
  while (const auto item = demuxer->next(gate)) {
    if (const auto* const buffer = std::get_if<media::ElementaryBuffer>(&*item))
      require(GST_BUFFER_PTS_IS_VALID(buffer->buffer.get()), "an access unit has a time");
    if (std::holds_alternative<media::ElementaryEnd>(*item) ||
        std::holds_alternative<media::ElementaryFailure>(*item))
      break;
  }
}

void readTextSegments(Bytes input) {
  startGStreamer();
  auto kind = std::make_shared<streaming::Representation>();
  constexpr streaming::TextFormat kFormats[] = {
      streaming::TextFormat::MP4, streaming::TextFormat::WebVTT, streaming::TextFormat::TTML,
      streaming::TextFormat::SubRip};
  kind->textFormat = kFormats[takeByte(input) % 4U];
  kind->id = "r";
  auto offsets = std::make_shared<media::TimestampOffsets>();
  media::TextSegments texts(offsets);
  for (const TrackPiece& piece : piecesOf(input, kind)) {
    for (const media::SubtitleCue& cue : texts.read(piece))
      require(std::isfinite(cue.start), "the time of a cue is finite");
    if (piece.isDiscontinuous) offsets->offsetFor(offsets->addTrack(), piece.segment, 0);
  }
}

void decryptSamples(Bytes input) {
  constexpr AVCodecID kCodecs[] = {AV_CODEC_ID_H264, AV_CODEC_ID_AAC, AV_CODEC_ID_AC3,
                                   AV_CODEC_ID_EAC3, AV_CODEC_ID_MP3};
  const AVCodecID codec = kCodecs[takeByte(input) % std::size(kCodecs)];
  if (const auto frame = media::audioFrameOf(codec, input))
    require(frame->samples >= 0 && frame->rate > 0, "an audio frame has a duration");
  AVPacket* packet = av_packet_alloc();
  if (av_new_packet(packet, static_cast<int>(input.size())) == 0) {
    std::copy(input.begin(), input.end(), packet->data);
    const platform::Bytes key(16, std::byte{7});
    media::decryptSampleAES(*packet, codec, key, {});
    require(packet->size <= static_cast<int>(input.size()), "decryption does not add bytes");
  }
  av_packet_free(&packet);
}

constexpr InputLimits kDemuxerLimits{.heap = {std::size_t{32} << 20, 2000},
                                     .steps = {4'000'000, 4000}};

const Registration segments({"Segments", &demuxSegments, kDemuxerLimits});
const Registration textSegments({"TextSegments", &readTextSegments, kDemuxerLimits});
const Registration samples({"SampleAES", &decryptSamples, {}});

}  // namespace
}  // namespace fuzz
