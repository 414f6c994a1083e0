#include "media/segments/MediaContainer.h"

#include <cmath>
#include <new>

#include "media/support/LibavLog.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/dict.h>
}

namespace media {
namespace {

// How far a transport stream is searched for its tables before the first packet.
constexpr std::int64_t kTableBytes = std::int64_t{8} * 1024;
constexpr int kLargestPacket = 64 * 1024 * 1024;
constexpr unsigned kMaxStreams = 64;
// Errors in a row after which reading ends.
constexpr int kMaxErrors = 32;

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EPERM);
}

}  // namespace

std::unique_ptr<MediaContainer> MediaContainer::open(PieceInput& input, ContainerFormat format) {
  silenceLibav();
  const auto* const demuxer = av_find_input_format(demuxerName(format));
  if (!demuxer) return nullptr;
  std::unique_ptr<MediaContainer> self(new MediaContainer(format));
  self->_packet.reset(av_packet_alloc());
  AVFormatContext* context = avformat_alloc_context();
  if (!self->_packet || !context) {
    avformat_free_context(context);
    throw std::bad_alloc();
  }
  context->pb = input.context();
  context->flags |= AVFMT_FLAG_CUSTOM_IO;
  // By default libavformat holds back packets of streams without a known codec, such as timed
  // metadata, while it probes them.
  context->max_probe_packets = 1;
  context->io_open = refuseToOpen;
  context->probesize = kTableBytes;
  context->correct_ts_overflow = 0;  // StreamClock and the callers unwrap time stamps
  context->max_streams = static_cast<int>(kMaxStreams);
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "none", 0);
  // avformat_open_input() frees the context on failure.
  const int result = avformat_open_input(&context, nullptr, demuxer, &options);
  av_dict_free(&options);
  if (result < 0) return nullptr;
  self->_context = context;
  return self;
}

MediaContainer::~MediaContainer() {
  if (_context) avformat_close_input(&_context);
}

AVPacket* MediaContainer::read() {
  for (int errors = 0; errors < kMaxErrors;) {
    av_packet_unref(_packet.get());
    const int result = av_read_frame(_context, _packet.get());
    if (result == AVERROR_EOF || result == AVERROR_EXIT) return nullptr;
    if (result < 0) {
      ++errors;
      continue;
    }
    if (_packet->size > 0 && _packet->size <= kLargestPacket) return _packet.get();
  }
  return nullptr;
}

bool MediaContainer::seek(double seconds) {
  const auto time = std::llround(seconds * AV_TIME_BASE);
  return av_seek_frame(_context, -1, time, AVSEEK_FLAG_BACKWARD) >= 0;
}

std::span<const std::uint8_t> sideDataOf(const AVStream& stream, AVPacketSideDataType type) {
#if LIBAVFORMAT_VERSION_MAJOR >= 61
  const AVPacketSideData* const found = av_packet_side_data_get(
      stream.codecpar->coded_side_data, stream.codecpar->nb_coded_side_data, type);
  if (!found) return {};
  return {found->data, found->size};
#else
  std::size_t size = 0;
  const std::uint8_t* const data = av_stream_get_side_data(&stream, type, &size);
  if (!data) return {};
  return {data, size};
#endif
}

}  // namespace media
