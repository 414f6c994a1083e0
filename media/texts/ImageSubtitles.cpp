#include "media/texts/ImageSubtitles.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>

#include "media/support/LibavLog.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
}

namespace media {
namespace {

constexpr AVRational kMicroseconds{1, 1000000};
constexpr double kMillisecond = 0.001;
/// Beyond these, times of packets are damaged.
constexpr double kMaxSeconds = 1e9;
/// Canvas sizes for a DVD stream that does not state its own. The first size that the bitmap fits
/// into is used.
constexpr std::array<std::pair<int, int>, 4> kCanvases{
    {{720, 480}, {720, 576}, {1280, 720}, {1920, 1080}}};

std::optional<ImageSubtitleFormat> formatOf(std::string_view mediaType) {
  if (mediaType == "subpicture/x-pgs") return ImageSubtitleFormat::PGS;
  if (mediaType == "subpicture/x-dvd") return ImageSubtitleFormat::DVD;
  if (mediaType == "subpicture/x-dvb") return ImageSubtitleFormat::DVB;
  return std::nullopt;
}

AVCodecID codecOf(ImageSubtitleFormat format) {
  switch (format) {
    case ImageSubtitleFormat::DVB:
      return AV_CODEC_ID_DVB_SUBTITLE;
    case ImageSubtitleFormat::DVD:
      return AV_CODEC_ID_DVD_SUBTITLE;
    case ImageSubtitleFormat::PGS:
      break;
  }
  return AV_CODEC_ID_HDMV_PGS_SUBTITLE;
}

/// A packet of libavcodec: padded, and freed on destruction.
struct SubtitlePacket {
  SubtitlePacket(std::string_view bytes, double start) : packet(av_packet_alloc()) {
    const bool fits = bytes.size() < static_cast<std::size_t>(std::numeric_limits<int>::max()) / 2;
    if (!packet || !fits || av_new_packet(packet, static_cast<int>(bytes.size())) < 0) return;
    std::memcpy(packet->data, bytes.data(), bytes.size());
    packet->pts = std::llround(std::clamp(start, -kMaxSeconds, kMaxSeconds) * 1e6);
    isGood = true;
  }
  ~SubtitlePacket() { av_packet_free(&packet); }
  SubtitlePacket(const SubtitlePacket&) = delete;
  SubtitlePacket& operator=(const SubtitlePacket&) = delete;

  AVPacket* packet;
  bool isGood = false;
};

struct Area {
  int left;
  int top;
  int right;
  int bottom;
};

/// Reads the pixels of a decoded bitmap.
class Bitmap {
 public:
  explicit Bitmap(const AVSubtitleRect& rect) : _rect(rect) {
    if (rect.data[1]) std::memcpy(_colors.data(), rect.data[1], sizeof _colors);
  }

  std::uint32_t at(int x, int y) const {
    return _colors[_rect.data[0][std::ptrdiff_t{y} * _rect.linesize[0] + x]];
  }

  /// Returns the bitmap without its transparent edges, or nullopt if it is wholly transparent.
  std::optional<Area> visibleArea() const {
    if (_rect.type != SUBTITLE_BITMAP || !_rect.data[0] || !_rect.data[1]) return std::nullopt;
    Area area{_rect.w, _rect.h, 0, 0};
    for (int y = 0; y < _rect.h; ++y)
      for (int x = 0; x < _rect.w; ++x) {
        if (at(x, y) >> 24 == 0) continue;
        area = {std::min(area.left, x), std::min(area.top, y), std::max(area.right, x + 1), y + 1};
      }
    if (area.left >= area.right) return std::nullopt;
    return area;
  }

 private:
  const AVSubtitleRect& _rect;
  std::array<std::uint32_t, AVPALETTE_COUNT> _colors{};
};

}  // namespace

void ImageSubtitles::Release::operator()(AVCodecContext* decoder) const {
  avcodec_free_context(&decoder);
}

bool ImageSubtitles::isSupported(std::string_view mediaType) {
  const auto format = formatOf(mediaType);
  return format && avcodec_find_decoder(codecOf(*format));
}

std::unique_ptr<ImageSubtitles> ImageSubtitles::make(std::string_view mediaType, CueHandler onCue) {
  if (!isSupported(mediaType)) return nullptr;
  return std::make_unique<ImageSubtitles>(*formatOf(mediaType), std::move(onCue));
}

ImageSubtitles::ImageSubtitles(ImageSubtitleFormat format, CueHandler onCue)
    : _format(format), _onCue(std::move(onCue)), _packets(format) {}

void ImageSubtitles::reset() {
  _decoder.reset();
  _packets.reset();
}

void ImageSubtitles::setPalette(const Palette& palette) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  _palette = "\npalette:";
  for (const std::uint32_t color : palette) {
    _palette += ' ';
    for (unsigned shift = 24; shift > 0; shift -= 4)
      _palette += kDigits[color >> (shift - 4) & 15U];
    _palette += ',';
  }
  _palette.back() = '\n';
  _decoder.reset();
}

void ImageSubtitles::setDescription(std::string_view text) {
  constexpr std::size_t kMaxBytes = 4096;
  _description = text.substr(0, std::min(text.find('\0'), kMaxBytes));
  _decoder.reset();
}

bool ImageSubtitles::_open() {
  silenceLibav();
  const AVCodec* const codec = avcodec_find_decoder(codecOf(_format));
  const std::string text =
      _format == ImageSubtitleFormat::DVD ? _description + _palette : std::string();
  // A description that the decoder refuses is left out.
  for (const bool withDescription : {true, false}) {
    if (!withDescription && text.empty()) break;
    _decoder.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!_decoder) return false;
    _decoder->max_pixels = kPixelLimit;
    _decoder->pkt_timebase = kMicroseconds;
    if (withDescription && !text.empty()) {
      const std::size_t size = text.size() + AV_INPUT_BUFFER_PADDING_SIZE;
      _decoder->extradata = static_cast<std::uint8_t*>(av_mallocz(size));
      if (!_decoder->extradata) break;
      std::memcpy(_decoder->extradata, text.data(), text.size());
      _decoder->extradata_size = static_cast<int>(text.size());
    }
    if (avcodec_open2(_decoder.get(), codec, nullptr) == 0) return true;
  }
  _decoder.reset();
  return false;
}

void ImageSubtitles::feed(double start, double duration, std::string_view packet) {
  for (const SubtitlePackets::Part& part : _packets.split(packet)) {
    if (part.startsAnew) _decoder.reset();
    if (_decoder || _open()) _decode(start, duration, part);
  }
}

void ImageSubtitles::_decode(double start, double duration, const SubtitlePackets::Part& part) {
  const SubtitlePacket packet(part.bytes, start);
  if (!packet.isGood) return;
  // Without this the decoder keeps the size of the first canvas.
  if (part.hasCanvas) _decoder->width = _decoder->height = 0;
  AVSubtitle decoded{};
  int isDecoded = 0;
  const int result = avcodec_decode_subtitle2(_decoder.get(), &decoded, &isDecoded, packet.packet);
  if (part.hasCanvas && _decoder->width > 0 && _decoder->height > 0)
    _canvasOfDVB = {_decoder->width, _decoder->height};
  if (result >= 0 && isDecoded) _emit(decoded, start, duration);
  avsubtitle_free(&decoded);
}

void ImageSubtitles::_emit(const AVSubtitle& decoded, double start, double duration) {
  SubtitleCue cue;
  const auto [canvasWidth, canvasHeight] = _canvasSize(decoded);
  std::size_t pixels = SubtitleCue::kImageByteLimit / sizeof(std::uint32_t);
  for (unsigned index = 0; index < decoded.num_rects; ++index) {
    const AVSubtitleRect& rect = *decoded.rects[index];
    const Bitmap bitmap(rect);
    const auto area = bitmap.visibleArea();
    if (!area) continue;
    CueImage image{canvasWidth,
                   canvasHeight,
                   rect.x + area->left,
                   rect.y + area->top,
                   area->right - area->left,
                   area->bottom - area->top,
                   {}};
    const std::size_t size =
        static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height);
    if (size > pixels) continue;
    pixels -= size;
    image.pixels.reserve(size);
    for (int y = area->top; y < area->bottom; ++y)
      for (int x = area->left; x < area->right; ++x) image.pixels.push_back(bitmap.at(x, y));
    cue.images.push_back(std::move(image));
  }
  // A DVD picture that shows nothing does not end the previous one, which has an end of its own.
  if (_format == ImageSubtitleFormat::DVD && cue.images.empty()) return;
  _setTimes(cue, decoded, start, duration);
  _onCue(std::move(cue));
}

void ImageSubtitles::_setTimes(SubtitleCue& cue, const AVSubtitle& decoded, double start,
                               double duration) const {
  cue.start = start;
  switch (_format) {
    case ImageSubtitleFormat::PGS:
      // The time of the composition. Its end may be in a later packet.
      if (decoded.pts != AV_NOPTS_VALUE) cue.start = static_cast<double>(decoded.pts) / 1e6;
      break;
    case ImageSubtitleFormat::DVB:
      // The time-out of the page, unless another page comes before.
      if (!cue.images.empty() && decoded.end_display_time > 0) {
        cue.duration = kMillisecond * decoded.end_display_time;
        cue.endsAtNext = true;
      }
      break;
    case ImageSubtitleFormat::DVD: {
      cue.start += kMillisecond * decoded.start_display_time;
      cue.duration = duration;
      if (decoded.end_display_time <= decoded.start_display_time) break;
      const double own = kMillisecond * (decoded.end_display_time - decoded.start_display_time);
      // The duration of the container is preferred if it is shorter: the stream may have been cut.
      cue.duration = duration == SubtitleCue::kUntilNext ? own : std::min(own, duration);
      break;
    }
  }
}

std::pair<int, int> ImageSubtitles::_canvasSize(const AVSubtitle& decoded) const {
  if (_format == ImageSubtitleFormat::DVB) return _canvasOfDVB;
  const std::pair known(_decoder->width, _decoder->height);
  const bool isKnown = known.first > 0 && known.second > 0;
  if (isKnown || _format == ImageSubtitleFormat::PGS || decoded.num_rects == 0) return known;
  const AVSubtitleRect& rect = *decoded.rects[0];
  const auto canvas = std::find_if(kCanvases.begin(), kCanvases.end(), [&](const auto& each) {
    return rect.x + rect.w <= each.first && rect.y + rect.h <= each.second;
  });
  return canvas != kCanvases.end() ? *canvas : kCanvases.back();
}

}  // namespace media
