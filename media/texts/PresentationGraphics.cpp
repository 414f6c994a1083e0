// A PGS segment has a type and a length. Types: composition, palette, object, end of display set.

#include <algorithm>
#include <map>
#include <string>
#include <utility>

#include "media/texts/ImageSubtitles.h"

namespace media {
namespace {

constexpr std::uint8_t kPalette = 0x14;
constexpr std::uint8_t kObject = 0x15;
constexpr std::uint8_t kComposition = 0x16;
constexpr std::uint8_t kEnd = 0x80;
constexpr std::uint8_t kContinues = 0x00;  // composition state "normal": keeps objects and palettes
constexpr std::size_t kComposedObjectLimit = 64;
constexpr std::size_t kObjectByteLimit = std::size_t{4} << 20;
constexpr int kMaxObjectSide = 4096;

struct Entry {
  int y = 16;
  int cr = 128;
  int cb = 128;
  int alpha = 0;
};
using Entries = std::array<Entry, 256>;

struct Object {
  int width = 0;
  int height = 0;
  std::string data;
};

struct Placed {
  std::uint32_t object;
  int x;
  int y;
};

class PresentationGraphics final : public ImageSubtitles {
 public:
  explicit PresentationGraphics(CueHandler onCue) : _onCue(std::move(onCue)) {}

  void feed(double start, double, std::string_view packet) override {
    ByteReader reader(packet);
    // In a transport stream the end segment may be in a packet of its own.
    while (!reader.isEmpty()) {
      const std::uint8_t type = reader.byte();
      const std::string_view segment = reader.bytes(reader.take(2));
      if (!reader.isGood()) return;
      if (type == kComposition) _compose(start, ByteReader(segment));
      if (type == kPalette) _readPalette(ByteReader(segment));
      if (type == kObject) _readObject(ByteReader(segment));
      if (type == kEnd && _isComposing) _show();
    }
  }

  void reset() override {
    _isComposing = false;
    _objects.clear();
    _palettes.clear();
  }

 private:
  void _compose(double start, ByteReader reader) {
    _start = start;
    _width = static_cast<int>(reader.take(2));
    _height = static_cast<int>(reader.take(2));
    reader.take(3);
    if (reader.byte() != kContinues) reset();
    reader.byte();
    _palette = reader.byte();
    _placed.clear();
    for (int count = reader.byte(); count > 0 && reader.isGood(); --count) {
      Placed placed{};
      placed.object = reader.take(2);
      reader.byte();
      const bool isCropped = (reader.byte() & 0x80) != 0;
      placed.x = static_cast<int>(reader.take(2));
      placed.y = static_cast<int>(reader.take(2));
      if (isCropped) reader.bytes(8);
      if (reader.isGood()) _placed.push_back(placed);
    }
    _isComposing = true;
  }

  void _readPalette(ByteReader reader) {
    Entries& entries = _palettes[reader.byte()];
    reader.byte();
    while (reader.rest().size() >= 5) {
      Entry& entry = entries[reader.byte()];
      entry.y = reader.byte();
      entry.cr = reader.byte();
      entry.cb = reader.byte();
      entry.alpha = reader.byte();
    }
  }

  void _readObject(ByteReader reader) {
    const std::uint32_t identifier = reader.take(2);
    reader.byte();
    const bool isFirst = (reader.byte() & 0x80) != 0;
    if (isFirst) {
      if (_objects.size() >= kComposedObjectLimit) return;
      reader.take(3);
      Object object;
      object.width = static_cast<int>(reader.take(2));
      object.height = static_cast<int>(reader.take(2));
      _objects[identifier] = std::move(object);
    }
    const auto found = _objects.find(identifier);
    if (found == _objects.end()) return;
    if (found->second.data.size() + reader.rest().size() <= kObjectByteLimit)
      found->second.data += reader.rest();
  }

  void _show() {
    _isComposing = false;
    SubtitleCue cue;
    cue.start = _start;
    const auto palette = _palettes.find(_palette);
    for (const Placed& each : _placed) {
      const auto object = _objects.find(each.object);
      if (object == _objects.end() || palette == _palettes.end()) continue;
      CueImage image = _draw(object->second, palette->second);
      image.x = each.x;
      image.y = each.y;
      if (!image.pixels.empty() && crop(image)) cue.images.push_back(std::move(image));
    }
    _onCue(std::move(cue));
  }

  CueImage _draw(const Object& object, const Entries& entries) const {
    CueImage image;
    image.canvasWidth = _width;
    image.canvasHeight = _height;
    if (object.width <= 0 || object.height <= 0 || object.width > kMaxObjectSide ||
        object.height > kMaxObjectSide)
      return image;
    image.width = object.width;
    image.height = object.height;
    std::array<std::uint32_t, 256> colors{};
    for (std::size_t index = 0; index < colors.size(); ++index) {
      const Entry& each = entries[index];
      colors[index] =
          colorOfVideo(each.y, each.cb, each.cr, each.alpha, _height > kMaxStandardRows);
    }
    const auto width = static_cast<std::size_t>(image.width);
    image.pixels.resize(width * static_cast<std::size_t>(image.height));
    ByteReader reader(object.data);
    std::size_t x = 0;
    for (std::size_t row = 0; row < static_cast<std::size_t>(image.height) && !reader.isEmpty();) {
      std::uint8_t color = reader.byte();
      std::size_t run = 1;
      if (color == 0) {
        const std::uint8_t flags = reader.byte();
        if (flags == 0) {
          ++row;
          x = 0;
          continue;
        }
        run = flags & 0x3F;
        if (flags & 0x40) run = run << 8 | reader.byte();
        if (flags & 0x80) color = reader.byte();
      }
      run = std::min(run, width - x);
      std::fill_n(image.pixels.begin() + static_cast<std::ptrdiff_t>(row * width + x), run,
                  colors[color]);
      x += run;
    }
    return image;
  }

  const CueHandler _onCue;
  bool _isComposing = false;
  double _start = 0;
  int _width = 0;
  int _height = 0;
  std::uint8_t _palette = 0;
  std::vector<Placed> _placed;
  std::map<std::uint8_t, Entries> _palettes;
  std::map<std::uint32_t, Object> _objects;
};

}  // namespace

std::unique_ptr<ImageSubtitles> makePresentationGraphics(ImageSubtitles::CueHandler onCue) {
  return std::make_unique<PresentationGraphics>(std::move(onCue));
}

}  // namespace media
