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

/// Reads the packets of one stream of pictures of text.
///
/// Whatever is broken in a packet is left out. Bounded: canvases, regions, objects.
/// Threads: one at a time.
class ImageSubtitles {
 public:
  /// A cue without images ends the one before.
  using Shown = std::function<void(SubtitleCue cue)>;
  using Palette = std::array<std::uint32_t, 16>;  ///< 0xAARRGGBB

  virtual ~ImageSubtitles() = default;
  /// `duration` is what the container says; kUntilNext when it says nothing. Seconds.
  virtual void feed(double start, double duration, std::string_view packet) = 0;
  /// What came before counts no more: another place of the time line follows.
  virtual void reset() = 0;
  virtual void setPalette(const Palette&) {}
  /// What the container says of the whole stream.
  virtual void setDescription(std::string_view) {}
};

/// Of Blu-ray, `subpicture/x-pgs`.
std::unique_ptr<ImageSubtitles> makePresentationGraphics(ImageSubtitles::Shown shown);
/// Of DVD, `subpicture/x-dvd`.
std::unique_ptr<ImageSubtitles> makeDVDSubtitles(ImageSubtitles::Shown shown);
/// Of broadcasts, `subpicture/x-dvb`.
std::unique_ptr<ImageSubtitles> makeDVBSubtitles(ImageSubtitles::Shown shown);
/// By the media type; null for any other.
std::unique_ptr<ImageSubtitles> makeImageSubtitles(std::string_view mediaType,
                                                   ImageSubtitles::Shown shown);

/// Walks over bytes; beyond their end everything is zero, and isGood() is false from then on.
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
  /// Shorter where there is less.
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

/// Rows of standard definition, at most; pictures with more use the colours of high definition.
inline constexpr int kMostStandardRows = 576;

/// A colour of video with the levels of video, and its opacity.
std::uint32_t colorOfVideo(int y, int cb, int cr, int alpha, bool isHighDefinition);

/// Without transparent edges. False when nothing is left.
bool crop(CueImage& image);

}  // namespace media
