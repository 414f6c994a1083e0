#include "media/elements/libav/LibavInput.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "media/segments/StreamClock.h"
#include "media/support/LibavLog.h"

extern "C" {
#include <libavutil/dict.h>
#include <libavutil/mathematics.h>
#include <libavutil/mem.h>
}

namespace media {
namespace {

constexpr int kInputBufferBytes = 64 * 1024;
constexpr int kLargestInputPacket = 64 * 1024 * 1024;
constexpr int kMaxInputStreams = 64;
// Errors in a row after which reading ends.
constexpr int kMaxInputErrors = 32;
// Bytes that libavformat may read to open a resource, and for a packet.
constexpr std::uint64_t kOpeningLimit = std::uint64_t{256} << 20;
constexpr std::uint64_t kPacketLimit = std::uint64_t{80} << 20;
// How far before the time of a seek a key frame is searched: first, and at most the double of this.
constexpr std::uint64_t kFirstSearchStep = 1'000'000'000;
constexpr std::uint64_t kLastSearchStep = 16'000'000'000;
// Bytes that the search may read.
constexpr std::uint64_t kSearchLimit = std::uint64_t{16} << 20;
constexpr std::int64_t kInputProbeBytes = std::int64_t{4} << 20;
// AV_TIME_BASE_Q is a compound literal, which C++ does not have.
constexpr AVRational kMicroseconds{1, AV_TIME_BASE};
constexpr std::uint64_t kNanosecondsPerTick = 1'000'000'000 / AV_TIME_BASE;

/// The names of all demuxers for files with audio and video. Others read playlists, images, devices
/// and texts.
constexpr const char* kInputFormats =
    "3g2,3gp,4xm,aac,ac3,act,aiff,alp,amr,amrnb,amrwb,ape,aptx,aptx_hd,asf,ast,au,av1,avi,"
    "avr,avs,bfstm,bink,binka,boa,brstm,caf,cavsvideo,cdg,daud,dhav,dirac,dnxhd,dsf,dts,"
    "dtshd,dv,dxa,ea,eac3,epaf,film_cpk,flac,flic,flv,g722,gsm,gxf,h261,h263,h264,hevc,idcin,"
    "iff,ipmovie,ircam,ivf,ivr,jv,kvag,live_flv,loas,lxf,m4a,m4v,matroska,mj2,mjpeg,mlp,mm,"
    "mmf,mov,mp3,mp4,mpc,mpc8,mpeg,mpegts,mpegvideo,msf,mtv,mv,mvi,mxf,nistsphere,nsv,nut,"
    "nuv,obu,ogg,oma,paf,psxstr,pva,pvf,qcp,r3d,rl2,rm,roq,rpl,rso,sbc,sds,sdx,shn,smjpeg,"
    "smk,sol,sox,spdif,swf,tak,thp,tiertexseq,tmv,truehd,tta,vag,vc1,vc1test,vivo,vmd,voc,"
    "vqf,w64,wav,wc3movie,webm,wsaud,wsd,wsvqa,wtv,wv,xa,xmv,xwma,yop,yuv4mpegpipe";

/// Several JPEG images are detected as one image.
bool isJPEG(const LibavInput::Source& source) {
  std::array<std::uint8_t, 3> head{};
  return source.size > head.size() && source.read(0, head) == head.size() &&
         head == std::array<std::uint8_t, 3>{0xff, 0xd8, 0xff};
}

int refuseOtherResource(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EPERM);
}

}  // namespace

std::unique_ptr<LibavInput> LibavInput::open(Source source) {
  silenceLibav();
  std::unique_ptr<LibavInput> self(new LibavInput);
  self->_source = std::move(source);
  self->_packet.reset(av_packet_alloc());
  self->_readLimit = kOpeningLimit;
  auto* const buffer = static_cast<unsigned char*>(av_malloc(kInputBufferBytes));
  AVFormatContext* context = avformat_alloc_context();
  if (buffer)
    self->_io = avio_alloc_context(
        buffer, kInputBufferBytes, 0, self.get(),
        [](void* opaque, std::uint8_t* into, int size) {
          return static_cast<LibavInput*>(opaque)->_readBytes(
              {into, static_cast<std::size_t>(size)});
        },
        nullptr,
        [](void* opaque, std::int64_t offset, int whence) {
          return static_cast<LibavInput*>(opaque)->_seekBytes(offset, whence);
        });
  if (!self->_packet || !context || !self->_io) {
    avformat_free_context(context);
    if (!self->_io) av_free(buffer);
    throw std::bad_alloc();
  }
  context->pb = self->_io;
  context->flags |= AVFMT_FLAG_CUSTOM_IO;
  context->io_open = refuseOtherResource;
  context->max_streams = kMaxInputStreams;
  context->format_probesize = static_cast<int>(kInputProbeBytes);
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "none", 0);
  av_dict_set(&options, "format_whitelist", kInputFormats, 0);
  // avformat_open_input() frees the context on failure.
  const bool hasImages = isJPEG(self->_source);
  const AVInputFormat* const format = hasImages ? av_find_input_format("mjpeg") : nullptr;
  const int result = avformat_open_input(&context, nullptr, format, &options);
  av_dict_free(&options);
  if (result < 0) return nullptr;
  self->_context = context;
  if (avformat_find_stream_info(context, nullptr) < 0 || self->_hasStopped) return nullptr;
  if (hasImages) {
    if (self->read() != Result::Packet || self->read() != Result::Packet) return nullptr;
    self->seek(0);
  }
  return self;
}

LibavInput::~LibavInput() {
  if (_context) avformat_close_input(&_context);
  if (_io) av_freep(&_io->buffer);
  avio_context_free(&_io);
}

int LibavInput::_readBytes(std::span<std::uint8_t> into) {
  if (_offset >= _source.size) return AVERROR_EOF;
  if (_readLimit == 0) return AVERROR(EIO);
  const std::uint64_t rest = _source.size - _offset;
  const auto count = _source.read(
      _offset, into.first(static_cast<std::size_t>(std::min<std::uint64_t>(rest, into.size()))));
  if (!count) {
    _hasStopped = true;
    return AVERROR_EXIT;
  }
  if (*count == 0) return AVERROR_EOF;
  if (!_movieCheck.accepts(_offset, into.first(*count), _source.size)) return AVERROR_INVALIDDATA;
  _offset += *count;
  _readLimit -= std::min<std::uint64_t>(_readLimit, *count);
  _bytesRead += *count;
  return static_cast<int>(*count);
}

std::int64_t LibavInput::_seekBytes(std::int64_t offset, int whence) {
  const auto size = static_cast<std::int64_t>(_source.size);
  if ((whence & AVSEEK_SIZE) != 0) return size;
  whence &= ~AVSEEK_FORCE;
  if (whence == SEEK_CUR) offset += static_cast<std::int64_t>(_offset);
  if (whence == SEEK_END) offset += size;
  if (offset < 0) return AVERROR(EINVAL);
  _offset = static_cast<std::uint64_t>(offset);
  return offset;
}

std::optional<std::uint64_t> LibavInput::duration() const {
  if (_context->duration <= 0) return std::nullopt;
  return static_cast<std::uint64_t>(rescaledTicks(_context->duration, kMicroseconds));
}

std::string LibavInput::metadata(const char* key, const AVStream* stream) const {
  const AVDictionaryEntry* const entry =
      av_dict_get(stream ? stream->metadata : _context->metadata, key, nullptr, 0);
  return entry ? entry->value : "";
}

LibavInput::Result LibavInput::read() {
  for (int errors = 0; errors < kMaxInputErrors;) {
    av_packet_unref(_packet.get());
    _readLimit = kPacketLimit;
    const int result = av_read_frame(_context, _packet.get());
    if (_hasStopped) return Result::Stopped;
    if (_readLimit == 0) {
      _clearReadError();
    } else if (result == AVERROR_EOF) {
      return Result::End;
    }
    if (result < 0) {
      ++errors;
      continue;
    }
    const bool isUsable = _packet->size > 0 && _packet->size <= kLargestInputPacket;
    if (isUsable && !_isBeforeKeyFrame()) return Result::Packet;
  }
  return Result::End;
}

bool LibavInput::_isBeforeKeyFrame() {
  if (_packet->stream_index != _keyFrameStream) return false;
  const Times packet = times();
  if ((_packet->flags & AV_PKT_FLAG_KEY) == 0 &&
      packet.presentation.value_or(packet.decoding.value_or(0)) <= _seekTime)
    return true;
  _keyFrameStream.reset();
  return false;
}

std::optional<std::uint64_t> LibavInput::_timeOf(std::int64_t value, const AVStream& stream) const {
  if (value == AV_NOPTS_VALUE) return std::nullopt;
  std::int64_t time = rescaledTicks(value, stream.time_base);
  if (_context->start_time != AV_NOPTS_VALUE)
    time -= rescaledTicks(_context->start_time, kMicroseconds);
  return static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0));
}

LibavInput::Times LibavInput::times() const {
  const AVStream& stream = *_context->streams[_packet->stream_index];
  Times times;
  times.presentation = _timeOf(_packet->pts, stream);
  times.decoding = _timeOf(_packet->dts, stream);
  if (_packet->duration > 0)
    times.duration = static_cast<std::uint64_t>(rescaledTicks(_packet->duration, stream.time_base));
  return times;
}

/// A read that has failed leaves its error in the context.
void LibavInput::_clearReadError() {
  _io->error = 0;
  _io->eof_reached = 0;
}

void LibavInput::seek(std::uint64_t time) {
  const int video = av_find_best_stream(_context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  const bool hasVideo =
      video >= 0 && streams()[static_cast<std::size_t>(video)]->discard < AVDISCARD_ALL;
  const auto seekTo = [&](std::uint64_t from) {
    _seekRoughly(from);
    _keyFrameStream = hasVideo ? std::optional(video) : std::nullopt;
  };
  _hasStopped = false;
  _seekTime = time;
  _bytesRead = 0;
  std::uint64_t from = time;
  seekTo(from);
  for (std::uint64_t step = kFirstSearchStep; hasVideo && step <= kLastSearchStep; step *= 2) {
    if (_findsKeyFrame() || _hasStopped || from == 0 || _bytesRead > kSearchLimit) break;
    from -= std::min(from, step);
    seekTo(from);
  }
  // The search has read packets.
  if (hasVideo) seekTo(from);
}

/// Returns whether a key frame of the video follows, at or before the time of the seek.
bool LibavInput::_findsKeyFrame() {
  while (_bytesRead <= kSearchLimit && read() == Result::Packet) {
    const Times packet = times();
    if (packet.presentation.value_or(packet.decoding.value_or(0)) > _seekTime) return false;
    if (!_keyFrameStream) return true;
  }
  return false;
}

void LibavInput::_seekRoughly(std::uint64_t time) {
  _readLimit = kOpeningLimit;
  _clearReadError();
  auto target = static_cast<std::int64_t>(time / kNanosecondsPerTick);
  if (_context->start_time != AV_NOPTS_VALUE)
    target += rescaledTicks(_context->start_time, kMicroseconds) /
              static_cast<std::int64_t>(kNanosecondsPerTick);
  if (av_seek_frame(_context, -1, target, AVSEEK_FLAG_BACKWARD) >= 0) return;
  // Without an index, the packets before the target are read and dropped by the decoders.
  if (av_seek_frame(_context, -1, 0, AVSEEK_FLAG_BYTE) < 0)
    av_seek_frame(_context, -1, 0, AVSEEK_FLAG_ANY | AVSEEK_FLAG_BACKWARD);
}

}  // namespace media
