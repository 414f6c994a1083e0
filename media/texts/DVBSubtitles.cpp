// Decodes DVB subtitles (ETSI EN 300 743): page composition, region composition, CLUT definition,
// object data, display definition and end of display set segments.

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include "media/texts/ImageSubtitles.h"

namespace media {
namespace {

constexpr std::uint8_t kSync = 0x0F;
constexpr std::size_t kRegionLimit = 16;
constexpr std::size_t kObjectLimit = 64;
constexpr int kMaxDVBSide = 2048;

using Colors = std::array<std::uint32_t, 256>;

/// The default CLUT, for streams without a CLUT definition.
Colors defaultColors(unsigned depth) {
  Colors colors{};
  if (depth == 1) {
    colors[1] = 0xFFFFFFFF;
    colors[2] = 0xFF000000;
    colors[3] = 0xFF7F7F7F;
    return colors;
  }
  for (std::uint32_t index = 1; index < colors.size(); ++index) {
    const std::uint32_t level = index & 8U ? 0x7F : 0xFF;
    colors[index] = 0xFF000000 | (index & 1U ? level << 16 : 0) | (index & 2U ? level << 8 : 0) |
                    (index & 4U ? level : 0);
  }
  return colors;
}

struct ObjectPlace {
  std::uint32_t object;
  int x;
  int y;
};

struct Region {
  int width = 0;
  int height = 0;
  unsigned depth = 2;  // 1, 2, 3: 2, 4, 8 bits a pixel
  std::uint8_t colors = 0;
  std::vector<ObjectPlace> objects;
  std::vector<std::uint8_t> pixels;
};

struct RegionPlace {
  std::uint8_t region;
  int x;
  int y;
};

class BitReader {
 public:
  explicit BitReader(ByteReader& reader) : _reader(reader) {}
  unsigned take(int count) {
    while (_count < count) {
      _held = _held << 8 | _reader.byte();
      _count += 8;
    }
    _count -= count;
    const unsigned value = _held >> _count & ((1U << count) - 1);
    _held &= (1U << _count) - 1;
    return value;
  }

 private:
  ByteReader& _reader;
  unsigned _held = 0;
  int _count = 0;
};

/// A run of pixels of one colour. The functions below return nullopt at the end of a string of
/// runs.
struct Run {
  unsigned length;
  unsigned color;
};

std::optional<Run> takeTwoBits(BitReader& bits) {
  if (const unsigned color = bits.take(2)) return Run{1, color};
  if (bits.take(1)) {
    const unsigned length = 3 + bits.take(3);
    return Run{length, bits.take(2)};
  }
  if (bits.take(1)) return Run{1, 0};
  const unsigned kind = bits.take(2);
  if (kind == 0) return std::nullopt;
  if (kind == 1) return Run{2, 0};
  const unsigned length = kind == 2 ? 12 + bits.take(4) : 29 + bits.take(8);
  return Run{length, bits.take(2)};
}

std::optional<Run> takeFourBits(BitReader& bits) {
  if (const unsigned color = bits.take(4)) return Run{1, color};
  if (!bits.take(1)) {
    const unsigned length = bits.take(3);
    if (length == 0) return std::nullopt;
    return Run{length + 2, 0};
  }
  if (!bits.take(1)) {
    const unsigned length = 4 + bits.take(2);
    return Run{length, bits.take(4)};
  }
  const unsigned kind = bits.take(2);
  if (kind < 2) return Run{kind + 1, 0};
  const unsigned length = kind == 2 ? 9 + bits.take(4) : 25 + bits.take(8);
  return Run{length, bits.take(4)};
}

std::optional<Run> takeEightBits(BitReader& bits) {
  if (const unsigned color = bits.take(8)) return Run{1, color};
  const bool hasColor = bits.take(1) != 0;
  const unsigned length = bits.take(7);
  if (!hasColor) return length == 0 ? std::nullopt : std::optional(Run{length, 0});
  return Run{length, bits.take(8)};
}

class DVBSubtitles final : public ImageSubtitles {
 public:
  explicit DVBSubtitles(CueHandler onCue) : _onCue(std::move(onCue)) {}

  void feed(double start, double, std::string_view packet) override {
    if (packet.starts_with(std::string_view("\x20\0", 2))) packet.remove_prefix(2);
    ByteReader reader(packet);
    while (reader.byte() == kSync) {
      const std::uint8_t type = reader.byte();
      reader.take(2);  // the page id: each stream here has one page
      const ByteReader segment(reader.bytes(reader.take(2)));
      if (!reader.isGood()) return;
      if (type == 0x10) _readPage(start, segment);
      if (type == 0x11) _readRegion(segment);
      if (type == 0x12) _readColors(segment);
      if (type == 0x13) _readObject(segment);
      if (type == 0x14) _readCanvas(segment);
      if (type == 0x80) _show();
    }
    // Some streams have no end of display set segment.
    _show();
  }

  void reset() override {
    _regions.clear();
    _colors.clear();
    _places.clear();
    _isComposing = false;
  }

 private:
  void _readCanvas(ByteReader reader) {
    const bool hasWindow = (reader.byte() & 8) != 0;
    _width = static_cast<int>(reader.take(2)) + 1;
    _height = static_cast<int>(reader.take(2)) + 1;
    _left = hasWindow ? static_cast<int>(reader.take(2)) : 0;
    reader.take(hasWindow ? 2 : 0);
    _top = hasWindow ? static_cast<int>(reader.take(2)) : 0;
  }

  void _readPage(double start, ByteReader reader) {
    const double timeout = reader.byte();
    const unsigned state = reader.byte() >> 2U & 3U;
    if (state != 0) reset();
    _places.clear();
    while (reader.rest().size() >= 6 && _places.size() < kRegionLimit) {
      RegionPlace place{};
      place.region = reader.byte();
      reader.byte();
      place.x = static_cast<int>(reader.take(2));
      place.y = static_cast<int>(reader.take(2));
      _places.push_back(place);
    }
    _start = start;
    _timeout = timeout;
    _isComposing = true;
  }

  void _readRegion(ByteReader reader) {
    const std::uint8_t identifier = reader.byte();
    const bool fills = (reader.byte() & 8) != 0;
    const auto width = static_cast<int>(reader.take(2));
    const auto height = static_cast<int>(reader.take(2));
    const bool fits = width > 0 && height > 0 && width <= kMaxDVBSide && height <= kMaxDVBSide;
    if (!fits || (_regions.size() >= kRegionLimit && !_regions.contains(identifier))) return;
    Region& region = _regions[identifier];
    region.depth = reader.byte() >> 2U & 7U;
    region.colors = reader.byte();
    const std::uint8_t eight = reader.byte();
    const std::uint8_t others = reader.byte();
    const std::uint8_t fill = region.depth == 3   ? eight
                              : region.depth == 2 ? static_cast<std::uint8_t>(others >> 4U)
                                                  : static_cast<std::uint8_t>(others >> 2U & 3U);
    const bool isNew = region.width != width || region.height != height;
    region.width = width;
    region.height = height;
    if (isNew || fills)
      region.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height),
                           fills ? fill : std::uint8_t{0});
    region.objects.clear();
    while (reader.rest().size() >= 6 && region.objects.size() < kObjectLimit) {
      ObjectPlace place{};
      place.object = reader.take(2);
      const std::uint32_t kindAndX = reader.take(2);
      place.x = static_cast<int>(kindAndX & 0xFFF);
      place.y = static_cast<int>(reader.take(2) & 0xFFF);
      const std::uint32_t kind = kindAndX >> 14;
      if (kind == 1 || kind == 2) reader.take(2);
      region.objects.push_back(place);
    }
  }

  void _readColors(ByteReader reader) {
    const std::uint8_t identifier = reader.byte();
    reader.byte();
    auto& colors = _colors.try_emplace(identifier, defaultColors(2)).first->second;
    while (reader.rest().size() >= 4) {
      const std::uint8_t index = reader.byte();
      const bool isFull = (reader.byte() & 1) != 0;
      int y = 0;
      int cr = 0;
      int cb = 0;
      int transparency = 0;
      if (isFull) {
        y = reader.byte();
        cr = reader.byte();
        cb = reader.byte();
        transparency = reader.byte();
      } else {
        const std::uint32_t packed = reader.take(2);
        y = static_cast<int>(packed >> 10 << 2);
        cr = static_cast<int>((packed >> 6 & 15U) << 4);
        cb = static_cast<int>((packed >> 2 & 15U) << 4);
        transparency = static_cast<int>(packed & 3U) * 85;
      }
      if (!reader.isGood()) return;
      // Y = 0 means transparent.
      colors[index] =
          y == 0 ? 0 : colorOfVideo(y, cb, cr, 255 - transparency, _height > kMaxStandardRows);
    }
  }

  void _readObject(ByteReader reader) {
    const std::uint32_t identifier = reader.take(2);
    const std::uint8_t flags = reader.byte();
    if ((flags >> 2U & 3U) != 0) return;  // objects of characters are not supported
    const std::size_t topSize = reader.take(2);
    const std::size_t bottomSize = reader.take(2);
    const std::string_view top = reader.bytes(topSize);
    const std::string_view bottom = bottomSize ? reader.bytes(bottomSize) : top;
    const bool isNonModifying = (flags & 2) != 0;
    for (auto& [unused, region] : _regions)
      for (const ObjectPlace& each : region.objects)
        if (each.object == identifier) {
          _drawField(region, each.x, each.y, top, isNonModifying);
          _drawField(region, each.x, each.y + 1, bottom, isNonModifying);
        }
  }

  static void _drawField(Region& region, int left, int y, std::string_view data,
                         bool isNonModifying) {
    ByteReader reader(data);
    int x = left;
    while (!reader.isEmpty()) {
      const std::uint8_t kind = reader.byte();
      if (kind == 0xF0) {
        x = left;
        y += 2;
      } else if (kind >= 0x10 && kind <= 0x12) {
        BitReader bits(reader);
        // In some streams the end code of a full row is only half there.
        while (reader.isGood() && (kind != 0x12 || x < region.width)) {
          const auto run = kind == 0x10   ? takeTwoBits(bits)
                           : kind == 0x11 ? takeFourBits(bits)
                                          : takeEightBits(bits);
          if (!run || !reader.isGood()) break;
          for (unsigned step = 0; step < run->length; ++step, ++x)
            if (x < region.width && y < region.height && !(isNonModifying && run->color == 1))
              region.pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(region.width) +
                            static_cast<std::size_t>(x)] = static_cast<std::uint8_t>(run->color);
        }
      } else {
        // Skips colour map tables, which are not used in practice, and stuffing.
        const int size = kind == 0x20 ? 2 : kind == 0x21 ? 4 : kind == 0x22 ? 16 : 0;
        if (size == 0 && kind != 0) return;
        reader.bytes(static_cast<std::size_t>(size));
      }
    }
  }

  void _show() {
    if (!std::exchange(_isComposing, false)) return;
    SubtitleCue cue;
    cue.start = _start;
    for (const RegionPlace& place : _places) {
      const auto found = _regions.find(place.region);
      if (found == _regions.end()) continue;
      const Region& region = found->second;
      const auto own = _colors.find(region.colors);
      const Colors colors = own != _colors.end() ? own->second : defaultColors(region.depth);
      CueImage image;
      image.canvasWidth = _width;
      image.canvasHeight = _height;
      image.x = _left + place.x;
      image.y = _top + place.y;
      image.width = region.width;
      image.height = region.height;
      image.pixels.reserve(region.pixels.size());
      for (const std::uint8_t each : region.pixels) image.pixels.push_back(colors[each]);
      if (crop(image)) cue.images.push_back(std::move(image));
    }
    const bool isVisible = !cue.images.empty();
    _onCue(std::move(cue));
    if (!isVisible || _timeout <= 0) return;
    // Ends the cue after the page time-out if no other page comes.
    SubtitleCue end;
    end.start = _start + _timeout;
    _onCue(std::move(end));
  }

  const CueHandler _onCue;
  int _width = 720;
  int _height = 576;
  int _left = 0;
  int _top = 0;
  bool _isComposing = false;
  double _start = 0;
  double _timeout = 0;
  std::vector<RegionPlace> _places;
  std::map<std::uint8_t, Region> _regions;
  std::map<std::uint8_t, Colors> _colors;
};

}  // namespace

std::unique_ptr<ImageSubtitles> makeDVBSubtitles(ImageSubtitles::CueHandler onCue) {
  return std::make_unique<DVBSubtitles>(std::move(onCue));
}

}  // namespace media
