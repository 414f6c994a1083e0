#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace media {

enum class ImageSubtitleFormat { DVB, DVD, PGS };

/// Splits the packets of one stream of bitmap subtitles for a decoder of libavcodec, which returns
/// one picture a packet. Removes objects and regions above the limits below: the decoder limits the
/// size of each one, but not their sum.
///
/// Threads: one at a time.
class SubtitlePackets {
 public:
  /// The pixels of all DVB regions, twice a canvas of 1920x1080.
  static constexpr std::size_t kRegionPixelLimit = std::size_t{4} << 20;
  static constexpr std::size_t kRegionObjectLimit = 64;
  /// The compressed bytes of all PGS objects. Discs have at most 1 MiB.
  static constexpr std::size_t kObjectByteLimit = std::size_t{16} << 20;
  static constexpr std::size_t kObjectLimit = 64;
  /// A DVD decoder draws the picture for each control sequence.
  static constexpr int kControlSequenceLimit = 64;

  /// A packet of DVB or PGS with more pictures is cut off.
  static constexpr std::size_t kPartLimit = 64;

  struct Part {
    std::string bytes;
    bool startsAnew = false;  ///< refers to no earlier part: discard the state of the decoder first
    bool hasCanvas = false;   ///< has the size of the DVB canvas
  };

  explicit SubtitlePackets(ImageSubtitleFormat format) : _format(format) {}
  std::vector<Part> split(std::string_view packet);
  /// Call it when the state of the decoder is discarded.
  void reset();

 private:
  std::vector<Part> _splitDVB(std::string_view packet);
  std::vector<Part> _splitPGS(std::string_view packet);
  bool _acceptsRegion(std::string_view segment);
  bool _acceptsObject(std::string_view segment);

  const ImageSubtitleFormat _format;
  std::array<std::size_t, 256> _regionPixels{};
  std::map<unsigned, std::size_t> _objectBytes;
  bool _isComposing = false;  // a PGS composition has not ended
};

}  // namespace media
