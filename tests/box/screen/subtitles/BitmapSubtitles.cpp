#include "tests/box/screen/subtitles/BitmapSubtitles.h"

#include <algorithm>
#include <cstddef>

#include <pango/pangocairo.h>

#include "box/screen/drawing/CairoTexture.h"

namespace box::test {
namespace {

constexpr int kColors = 16;
constexpr int kOpaque = 5;  // the first opaque colour: black

std::string number(std::size_t value, int bytes) {
  std::string result;
  while (bytes-- > 0) result += static_cast<char>(value >> (8 * bytes));
  return result;
}

std::string number(int value, int bytes) { return number(static_cast<std::size_t>(value), bytes); }

/// The brightness and the opacity of a colour, 0 to 255.
int brightnessOf(int color) {
  return color <= kOpaque ? 0 : 255 * (color - kOpaque) / (kColors - 1 - kOpaque);
}
int opacityOf(int color) { return std::min(255, 255 * color / kOpaque); }
/// The luma of a brightness in limited range.
int lumaOf(int brightness) { return 16 + brightness * 219 / 255; }

/// Calls `use(color, count)` for the runs of a row.
template <typename Use>
void forEachRun(const TextBitmap& bitmap, int row, int longest, const Use& use) {
  const auto begin = bitmap.pixels.begin() + static_cast<std::ptrdiff_t>(row) * bitmap.width;
  for (int x = 0; x < bitmap.width;) {
    const std::uint8_t color = begin[x];
    int count = 1;
    while (x + count < bitmap.width && count < longest && begin[x + count] == color) ++count;
    use(color, count);
    x += count;
  }
}

/// Collects numbers of some bits each.
class BitWriter {
 public:
  void put(unsigned value, int bits) {
    while (bits-- > 0) {
      if (_free == 0) {
        _bytes += '\0';
        _free = 8;
      }
      --_free;
      if ((value >> bits & 1U) != 0) _bytes.back() = static_cast<char>(_bytes.back() | 1 << _free);
    }
  }
  void align() { _free = 0; }
  std::string take() const { return _bytes; }

 private:
  std::string _bytes;
  int _free = 0;
};

std::string pgsSegment(int type, const std::string& body) {
  return number(type, 1) + number(body.size(), 2) + body;
}

std::string pgsPixels(const TextBitmap& bitmap) {
  std::string bytes;
  for (int row = 0; row < bitmap.height; ++row) {
    forEachRun(bitmap, row, 0x3fff, [&](std::uint8_t color, int count) {
      bytes += '\0';
      const int kind = color ? 0x80 : 0;
      bytes += count < 64 ? number(kind | count, 1) : number((kind | 0x40) << 8 | count, 2);
      if (color) bytes += number(int{color}, 1);
    });
    bytes += number(0, 2);
  }
  return bytes;
}

std::string dvbSegment(int type, const std::string& body) {
  return "\x0f" + number(type, 1) + number(1, 2) + number(body.size(), 2) + body;
}

/// The rows of one field as strings of 4 bits a pixel.
std::string dvbField(const TextBitmap& bitmap, int first) {
  BitWriter bits;
  for (int row = first; row < bitmap.height; row += 2) {
    bits.put(0x11, 8);
    forEachRun(bitmap, row, 280, [&](std::uint8_t color, int count) {
      if (count >= 25) {
        bits.put(0x0f, 8);
        bits.put(static_cast<unsigned>(count - 25), 8);
        bits.put(color, 4);
        return;
      }
      for (; count > 0; --count) color ? bits.put(color, 4) : bits.put(0x0c, 8);
    });
    bits.put(0, 8);
    bits.align();
    bits.put(0xf0, 8);
  }
  return bits.take();
}

/// The rows of one field with 2 bits a pixel.
std::string dvdField(const TextBitmap& bitmap, int first) {
  BitWriter bits;
  for (int row = first; row < bitmap.height; row += 2) {
    forEachRun(bitmap, row, 255, [&](std::uint8_t color, int count) {
      const unsigned paint = color < 3 ? 0 : color < 9 ? 1 : color < 13 ? 2 : 3;
      const int nibbles = count < 4 ? 1 : count < 16 ? 2 : count < 64 ? 3 : 4;
      bits.put(static_cast<unsigned>(count) << 2 | paint, 4 * nibbles);
    });
    bits.align();
  }
  return bits.take();
}

}  // namespace

TextBitmap textBitmap(const std::string& text, double size) {
  const auto layoutOf = [&](cairo_t* context) {
    PangoLayout* layout = pango_cairo_create_layout(context);
    PangoFontDescription* font = pango_font_description_from_string("Noto Sans");
    pango_font_description_set_absolute_size(font, size * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    pango_layout_set_alignment(layout, PANGO_ALIGN_CENTER);
    pango_layout_set_text(layout, text.data(), static_cast<int>(text.size()));
    return layout;
  };
  const double outline = size / 12;
  const CairoSurfacePtr probe(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1));
  const CairoPtr measuring(cairo_create(probe.get()));
  PangoLayout* measured = layoutOf(measuring.get());
  TextBitmap bitmap;
  pango_layout_get_pixel_size(measured, &bitmap.width, &bitmap.height);
  g_object_unref(measured);
  bitmap.width += static_cast<int>(4 * outline);
  const CairoSurfacePtr surface(
      cairo_image_surface_create(CAIRO_FORMAT_ARGB32, bitmap.width, bitmap.height));
  const CairoPtr context(cairo_create(surface.get()));
  PangoLayout* layout = layoutOf(context.get());
  cairo_move_to(context.get(), 2 * outline, 0);
  pango_cairo_layout_path(context.get(), layout);
  cairo_set_line_width(context.get(), 2 * outline);
  cairo_set_line_join(context.get(), CAIRO_LINE_JOIN_ROUND);
  cairo_stroke_preserve(context.get());
  cairo_set_source_rgb(context.get(), 1, 1, 1);
  cairo_fill(context.get());
  g_object_unref(layout);
  cairo_surface_flush(surface.get());
  const unsigned char* data = cairo_image_surface_get_data(surface.get());
  for (int y = 0; y < bitmap.height; ++y) {
    const unsigned char* row = data + y * cairo_image_surface_get_stride(surface.get());
    for (int x = 0; x < bitmap.width; ++x) {
      const int brightness = row[4 * x];
      const int opacity = row[4 * x + 3];
      const int color = brightness < 13
                            ? (opacity * kOpaque + 127) / 255
                            : kOpaque + (brightness * (kColors - 1 - kOpaque) + 127) / 255;
      bitmap.pixels.push_back(static_cast<std::uint8_t>(color));
    }
  }
  return bitmap;
}

std::string pgsPacket(const std::vector<PlacedBitmap>& bitmaps, int canvasWidth, int canvasHeight) {
  std::string composition = number(canvasWidth, 2) + number(canvasHeight, 2) + "\x10" +
                            number(1, 2) + "\x80" + number(0, 2) + number(bitmaps.size(), 1);
  std::string objects;
  for (std::size_t index = 0; index < bitmaps.size(); ++index) {
    const auto& [bitmap, x, y] = bitmaps[index];
    composition += number(index, 2) + number(0, 2) + number(x, 2) + number(y, 2);
    const std::string pixels = pgsPixels(bitmap);
    objects += pgsSegment(0x15, number(index, 2) + number(0xC0, 2) + number(pixels.size() + 4, 3) +
                                    number(bitmap.width, 2) + number(bitmap.height, 2) + pixels);
  }
  std::string palette = number(0, 2);
  for (int color = 0; color < kColors; ++color)
    palette += number(color, 1) + number(lumaOf(brightnessOf(color)), 1) + "\x80\x80" +
               number(opacityOf(color), 1);
  return pgsSegment(0x16, composition) + pgsSegment(0x14, palette) + objects + pgsSegment(0x80, "");
}

std::string dvbPacket(const std::vector<PlacedBitmap>& bitmaps, int canvasWidth, int canvasHeight) {
  std::string packet("\x20\0", 2);
  if (canvasWidth != 720 || canvasHeight != 576)
    packet +=
        dvbSegment(0x14, number(0, 1) + number(canvasWidth - 1, 2) + number(canvasHeight - 1, 2));
  std::string page = "\x1e\x08";
  std::string regions;
  std::string objects;
  for (std::size_t index = 0; index < bitmaps.size(); ++index) {
    const auto& [bitmap, x, y] = bitmaps[index];
    page += number(index, 1) + number(0, 1) + number(x, 2) + number(y, 2);
    regions += dvbSegment(0x11, number(index, 1) + number(0, 1) + number(bitmap.width, 2) +
                                    number(bitmap.height, 2) + "\x48" + number(0, 1) +
                                    number(0, 2) + number(index, 2) + number(0, 4));
    const std::string top = dvbField(bitmap, 0);
    const std::string bottom = dvbField(bitmap, 1);
    objects += dvbSegment(0x13, number(index, 2) + number(0, 1) + number(top.size(), 2) +
                                    number(bottom.size(), 2) + top + bottom);
  }
  std::string palette = number(0, 2);
  for (int color = 0; color < kColors; ++color)
    // A luma of 0 is transparent, whatever the transparency is.
    palette += number(color, 1) + "\x5f" + number(color ? lumaOf(brightnessOf(color)) : 0, 1) +
               "\x80\x80" + number(255 - opacityOf(color), 1);
  return packet + dvbSegment(0x10, page) + regions + dvbSegment(0x12, palette) + objects +
         dvbSegment(0x80, "");
}

std::string dvdPacket(const PlacedBitmap& placed) {
  const auto& [bitmap, x, y] = placed;
  const std::string top = dvdField(bitmap, 0);
  const std::string bottom = dvdField(bitmap, 1);
  const std::size_t control = 4 + top.size() + bottom.size();
  const auto range = [](int from, int size) { return number(from << 12 | (from + size - 1), 3); };
  const std::string commands = "\x03\x32\x10\x04\xff\xf0\x05" + range(x, bitmap.width) +
                               range(y, bitmap.height) + "\x06" + number(4, 2) +
                               number(4 + top.size(), 2) + "\x01\xff";
  const std::size_t end = control + 4 + commands.size();
  return number(end, 2) + number(control, 2) + top + bottom + number(0, 2) + number(control, 2) +
         commands;
}

}  // namespace box::test
