// A DVD subpicture packet has a bitmap of four colours in two fields, and command sequences with
// their times.

#include <algorithm>
#include <charconv>
#include <tuple>
#include <utility>

#include "media/output/SubtitleColor.h"
#include "media/texts/ImageSubtitles.h"

namespace media {
namespace {

constexpr double kSecondsPerDelayUnit = 1024.0 / 90000;
constexpr int kCommandListLimit = 64;
constexpr double kMaxDVDSide = 4096;
/// Canvas sizes for a stream that does not state its own. The first size that the bitmap fits into
/// is used.
constexpr std::array<std::pair<int, int>, 4> kCanvases{
    {{720, 480}, {720, 576}, {1280, 720}, {1920, 1080}}};

/// Reads half bytes, the upper one first.
class NibbleReader {
 public:
  explicit NibbleReader(std::string_view bytes) : _bytes(bytes) {}
  unsigned take() {
    if (_at / 2 >= _bytes.size()) return 0;
    const auto byte = static_cast<std::uint8_t>(_bytes[_at / 2]);
    return _at++ % 2 == 0 ? byte >> 4U : byte & 15U;
  }
  void align() { _at += _at % 2; }
  bool isEmpty() const { return _at / 2 >= _bytes.size(); }

 private:
  std::string_view _bytes;
  std::size_t _at = 0;
};

struct Display {
  std::array<unsigned, 4> colors{0, 1, 2, 3};  // indices into the palette
  std::array<unsigned, 4> alphas{0, 15, 15, 15};
  int left = 0;
  int right = -1;
  int top = 0;
  int bottom = -1;
  std::array<std::size_t, 2> fields{};  // offsets of the pixel data
  double begin = 0;                     // seconds after the packet's time
  double end = -1;
};

class DVDSubtitles final : public ImageSubtitles {
 public:
  explicit DVDSubtitles(CueHandler onCue) : _onCue(std::move(onCue)) {
    for (std::size_t index = 0; index < _palette.size(); ++index)
      _palette[index] = 0x00111111U * static_cast<std::uint32_t>(15 - index);
  }

  void setPalette(const Palette& palette) override { _palette = palette; }
  /// Reads the lines "size: 720x480" and "palette: 000000, 0000ff, …" of the text.
  void setDescription(std::string_view text) override {
    constexpr std::string_view kSize = "size:";
    constexpr std::string_view kPalette = "palette:";
    if (const std::size_t at = text.find(kSize); at != std::string_view::npos) {
      std::string_view rest = text.substr(at + kSize.size());
      const int width = static_cast<int>(std::min(takeNumber(rest).value_or(0), kMaxDVDSide));
      if (rest.starts_with('x')) rest.remove_prefix(1);
      const int height = static_cast<int>(std::min(takeNumber(rest).value_or(0), kMaxDVDSide));
      if (width > 0 && height > 0) _canvas = {width, height};
    }
    if (const std::size_t at = text.find(kPalette); at != std::string_view::npos) {
      std::string_view rest = text.substr(at + kPalette.size());
      for (std::uint32_t& each : _palette) {
        rest = trimmed(rest);
        std::from_chars(rest.data(), rest.data() + rest.size(), each, 16);
        rest.remove_prefix(std::min(rest.find(','), rest.size()));
        if (!rest.empty()) rest.remove_prefix(1);
      }
    }
  }
  void reset() override {}

  void feed(double start, double duration, std::string_view packet) override {
    Display display;
    if (!_readCommands(packet, display)) return;
    SubtitleCue cue;
    cue.start = start + display.begin;
    // The duration of the container is preferred if it is shorter: the stream may have been cut.
    const double own = display.end - display.begin;
    const bool hasOwn = own > 0;
    cue.duration = duration == SubtitleCue::kUntilNext ? (hasOwn ? own : duration)
                   : hasOwn                            ? std::min(own, duration)
                                                       : duration;
    CueImage image = _draw(packet, display);
    if (image.pixels.empty() || !crop(image)) return;
    cue.images.push_back(std::move(image));
    _onCue(std::move(cue));
  }

 private:
  static bool _readCommands(std::string_view packet, Display& display) {
    ByteReader header(packet);
    header.take(2);
    std::size_t at = header.take(2);
    for (int lists = 0; lists < kCommandListLimit && at + 4 <= packet.size(); ++lists) {
      ByteReader reader(packet.substr(at));
      const double time = kSecondsPerDelayUnit * reader.take(2);
      const std::size_t next = reader.take(2);
      _readList(reader, time, display);
      if (next <= at) break;  // the last sequence refers to itself
      at = next;
    }
    return display.right >= display.left && display.bottom >= display.top;
  }

  static void _readList(ByteReader& reader, double time, Display& display) {
    while (reader.isGood() && !reader.isEmpty()) {
      switch (reader.byte()) {
        case 0x00:  // forced display
          break;
        case 0x01:
          display.begin = time;
          break;
        case 0x02:
          display.end = time;
          break;
        case 0x03:
          _readFour(reader.take(2), display.colors);
          break;
        case 0x04:
          _readFour(reader.take(2), display.alphas);
          break;
        case 0x05: {
          const std::uint32_t columns = reader.take(3);
          const std::uint32_t rows = reader.take(3);
          display.left = static_cast<int>(columns >> 12);
          display.right = static_cast<int>(columns & 0xFFF);
          display.top = static_cast<int>(rows >> 12);
          display.bottom = static_cast<int>(rows & 0xFFF);
          break;
        }
        case 0x06:
          display.fields = {reader.take(2), reader.take(2)};
          break;
        default:  // the end, or an unknown command
          return;
      }
    }
  }

  static void _readFour(std::uint32_t value, std::array<unsigned, 4>& four) {
    for (std::size_t index = 0; index < four.size(); ++index)
      four[index] = value >> (4 * index) & 15U;
  }

  CueImage _draw(std::string_view packet, const Display& display) const {
    CueImage image;
    image.x = display.left;
    image.y = display.top;
    image.width = display.right - display.left + 1;
    image.height = display.bottom - display.top + 1;
    const auto canvas = std::find_if(kCanvases.begin(), kCanvases.end(), [&](const auto& each) {
      return display.right < each.first && display.bottom < each.second;
    });
    std::tie(image.canvasWidth, image.canvasHeight) = _canvas.first > 0 ? _canvas
                                                      : canvas != kCanvases.end()
                                                          ? *canvas
                                                          : kCanvases.back();
    std::array<std::uint32_t, 4> colors{};
    for (std::size_t index = 0; index < colors.size(); ++index)
      colors[index] = (_palette[display.colors[index]] & 0xFFFFFFU) | (17U * display.alphas[index])
                                                                          << 24;
    const auto width = static_cast<std::size_t>(image.width);
    const auto height = static_cast<std::size_t>(image.height);
    image.pixels.resize(width * height);
    for (std::size_t field = 0; field < 2; ++field) {
      NibbleReader nibbles(packet.substr(std::min(display.fields[field], packet.size())));
      for (std::size_t row = field; row < height && !nibbles.isEmpty(); row += 2)
        _drawRow(nibbles, colors, &image.pixels[row * width], width);
    }
    return image;
  }

  static void _drawRow(NibbleReader& nibbles, const std::array<std::uint32_t, 4>& colors,
                       std::uint32_t* row, std::size_t width) {
    for (std::size_t x = 0; x < width && !nibbles.isEmpty();) {
      // A code has 4 to 16 bits. Leading zeros give its length.
      unsigned code = nibbles.take();
      for (unsigned least = 4; code < least && least <= 0x40; least *= 4)
        code = code << 4 | nibbles.take();
      std::size_t run = code >> 2;
      // Run length zero: to the end of the row.
      run = run == 0 ? width - x : std::min(run, width - x);
      std::fill_n(row + x, run, colors[code & 3]);
      x += run;
    }
    nibbles.align();
  }

  const CueHandler _onCue;
  Palette _palette{};
  std::pair<int, int> _canvas{};  // zero: unknown
};

}  // namespace

std::unique_ptr<ImageSubtitles> makeDVDSubtitles(ImageSubtitles::CueHandler onCue) {
  return std::make_unique<DVDSubtitles>(std::move(onCue));
}

}  // namespace media
