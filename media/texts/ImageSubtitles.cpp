#include "media/texts/ImageSubtitles.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace media {

std::unique_ptr<ImageSubtitles> makeImageSubtitles(std::string_view mediaType,
                                                   ImageSubtitles::CueHandler onCue) {
  if (mediaType == "subpicture/x-pgs") return makePresentationGraphics(std::move(onCue));
  if (mediaType == "subpicture/x-dvd") return makeDVDSubtitles(std::move(onCue));
  if (mediaType == "subpicture/x-dvb") return makeDVBSubtitles(std::move(onCue));
  return nullptr;
}

std::uint32_t colorOfVideo(int y, int cb, int cr, int alpha, bool isHighDefinition) {
  const double luma = 1.164 * (y - 16);
  const double blue = cb - 128;
  const double red = cr - 128;
  const auto level = [](double value) {
    return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 255.0)));
  };
  const std::uint32_t r = level(luma + (isHighDefinition ? 1.793 : 1.596) * red);
  const std::uint32_t g = level(luma - (isHighDefinition ? 0.213 : 0.392) * blue -
                                (isHighDefinition ? 0.533 : 0.813) * red);
  const std::uint32_t b = level(luma + (isHighDefinition ? 2.112 : 2.017) * blue);
  return static_cast<std::uint32_t>(std::clamp(alpha, 0, 255)) << 24 | r << 16 | g << 8 | b;
}

bool crop(CueImage& image) {
  int left = image.width;
  int right = 0;
  int top = image.height;
  int bottom = 0;
  const auto at = [&](int x, int y) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(image.width) +
           static_cast<std::size_t>(x);
  };
  for (int y = 0; y < image.height; ++y)
    for (int x = 0; x < image.width; ++x)
      if (image.pixels[at(x, y)] >> 24 != 0) {
        left = std::min(left, x);
        right = std::max(right, x + 1);
        top = std::min(top, y);
        bottom = y + 1;
      }
  if (left >= right) return false;
  std::vector<std::uint32_t> pixels;
  for (int y = top; y < bottom; ++y)
    pixels.insert(pixels.end(), image.pixels.begin() + static_cast<std::ptrdiff_t>(at(left, y)),
                  image.pixels.begin() + static_cast<std::ptrdiff_t>(at(left, y)) + (right - left));
  image.pixels = std::move(pixels);
  image.x += left;
  image.y += top;
  image.width = right - left;
  image.height = bottom - top;
  return true;
}

}  // namespace media
