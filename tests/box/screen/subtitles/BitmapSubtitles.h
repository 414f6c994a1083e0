#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace box::test {

/// A text as a bitmap of at most 16 colours: 0 is transparent, 1 to 5 are the edge of a black
/// outline (the last one opaque), 6 to 15 lead from black to white.
struct TextBitmap {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;
};

/// Draws white text with an outline. `size` is the font size in pixels.
TextBitmap textBitmap(const std::string& text, double size);

/// A bitmap at its place on a canvas.
struct PlacedBitmap {
  TextBitmap bitmap;
  int x = 0;
  int y = 0;
};

/// Encodes at most two bitmaps as a display set of PGS.
std::string pgsPacket(const std::vector<PlacedBitmap>& bitmaps, int canvasWidth, int canvasHeight);
/// Encodes bitmaps as a page of DVB subtitles. On a canvas other than 720x576 the page has a
/// display definition.
std::string dvbPacket(const std::vector<PlacedBitmap>& bitmaps, int canvasWidth, int canvasHeight);
/// Encodes a bitmap as a subpicture of DVD, whose four colours are transparent, black, grey (colour
/// 2 of the palette) and white.
std::string dvdPacket(const PlacedBitmap& placed);

}  // namespace box::test
