#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <vector>

#include "media/output/SubtitleCue.h"

namespace media {

/// Decodes the packets of one stream of bitmap subtitles.
///
/// Broken parts of a packet are skipped. Sizes of canvases, regions and objects are limited.
/// Threads: one at a time.
class ImageSubtitles {
 public:
  /// A cue without images ends the previous cue.
  using CueHandler = std::function<void(SubtitleCue cue)>;
  using Palette = std::array<std::uint32_t, 16>;  ///< 0xAARRGGBB

  virtual ~ImageSubtitles() = default;
  /// `duration` is the container's, in seconds, or kUntilNext if the container has none.
  virtual void feed(double start, double duration, std::string_view packet) = 0;
  /// Drops the state of the decoder. Call it after a seek.
  virtual void reset() = 0;
  virtual void setPalette(const Palette&) {}
  /// Sets the codec data of the stream.
  virtual void setDescription(std::string_view) {}
};

/// Decodes the Presentation Graphic Stream (PGS) of Blu-ray, `subpicture/x-pgs`.
std::unique_ptr<ImageSubtitles> makePresentationGraphics(ImageSubtitles::CueHandler onCue);
/// Decodes the subpictures of DVD, `subpicture/x-dvd`.
std::unique_ptr<ImageSubtitles> makeDVDSubtitles(ImageSubtitles::CueHandler onCue);
/// Decodes DVB subtitles (ETSI EN 300 743), `subpicture/x-dvb`.
std::unique_ptr<ImageSubtitles> makeDVBSubtitles(ImageSubtitles::CueHandler onCue);
/// Chooses the decoder by the media type. Returns null for any other type.
std::unique_ptr<ImageSubtitles> makeImageSubtitles(std::string_view mediaType,
                                                   ImageSubtitles::CueHandler onCue);

/// Reads bytes one by one. Reads beyond the end return zero and make isGood() false.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : _bytes(bytes) {}
  std::uint32_t take(int count) {
    std::uint32_t value = 0;
    for (; count > 0; --count) value = value << 8 | byte();
    return value;
  }
  std::uint8_t byte() {
    if (_bytes.empty()) {
      _good = false;
      return 0;
    }
    const auto value = static_cast<std::uint8_t>(_bytes.front());
    _bytes.remove_prefix(1);
    return value;
  }
  /// Returns fewer bytes than `count` at the end.
  std::string_view bytes(std::size_t count) {
    if (count > _bytes.size()) _good = false;
    const std::string_view result = _bytes.substr(0, count);
    _bytes.remove_prefix(result.size());
    return result;
  }
  std::string_view rest() const { return _bytes; }
  bool isEmpty() const { return _bytes.empty(); }
  bool isGood() const { return _good; }

 private:
  std::string_view _bytes;
  bool _good = true;
};

/// Pictures with more rows than this use BT.709 colours, others BT.601.
inline constexpr int kMaxStandardRows = 576;

/// Converts a colour in video range and its opacity to 0xAARRGGBB.
std::uint32_t colorOfVideo(int y, int cb, int cr, int alpha, bool isHighDefinition);

/// Cuts off transparent edges. Returns false if the image is wholly transparent.
bool crop(CueImage& image);

}  // namespace media
