#include "tests/box/screen/Pictures.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <utility>

#include "box/screen/drawing/Theme.h"

namespace box::test {

int Pixel::distance(const Pixel& other) const {
  return std::max(
      {std::abs(red - other.red), std::abs(green - other.green), std::abs(blue - other.blue)});
}

MemoryFrame::MemoryFrame(media::VideoFormat pixelFormat, int pixelWidth, int pixelHeight, Yuv color,
                         std::optional<Yuv> leftHalf) {
  format = pixelFormat;
  width = pixelWidth;
  height = pixelHeight;
  const auto columns = static_cast<std::size_t>(width);
  const auto rows = static_cast<std::size_t>(height);
  const std::size_t halfColumns = (columns + 1) / 2;
  const std::size_t halfRows = (rows + 1) / 2;
  const bool nv12 = format == media::VideoFormat::NV12;
  planeCount = nv12 ? 2 : 3;
  // Strides wider than the rows, like those of decoders.
  const std::size_t stride = columns + 32;
  const std::size_t chromaBytes = nv12 ? 2 * halfColumns : halfColumns;
  const std::size_t chromaStride = chromaBytes + 16;
  _bytes.resize(stride * rows + 2 * chromaStride * halfRows);
  std::uint8_t* luma = _bytes.data();
  std::uint8_t* first = luma + stride * rows;
  std::uint8_t* second = first + chromaStride * halfRows;
  const Yuv left = leftHalf.value_or(color);
  for (std::size_t y = 0; y < rows; ++y) {
    for (std::size_t x = 0; x < columns; ++x)
      luma[y * stride + x] = (x < columns / 2 ? left : color).y;
  }
  for (std::size_t y = 0; y < halfRows; ++y) {
    for (std::size_t x = 0; x < halfColumns; ++x) {
      const Yuv& here = x < halfColumns / 2 ? left : color;
      if (nv12) {
        first[y * chromaStride + 2 * x] = here.u;
        first[y * chromaStride + 2 * x + 1] = here.v;
      } else {
        first[y * chromaStride + x] = here.u;
        second[y * chromaStride + x] = here.v;
      }
    }
  }
  planes[0] = {luma, stride, columns, rows};
  planes[1] = {first, chromaStride, chromaBytes, halfRows};
  if (!nv12) planes[2] = {second, chromaStride, chromaBytes, halfRows};
}

std::shared_ptr<media::VideoFrames> videoOf(std::shared_ptr<const media::VideoFrame> frame) {
  auto video = std::make_shared<media::VideoFrames>();
  video->put(video->open(), std::move(frame));
  return video;
}

Picture::Picture(const platform::Scene& scene, int width, int height, platform::TimePoint now,
                 AccessOptions access, const std::string& language)
    : _surface(SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, SDL_PIXELFORMAT_ARGB8888)) {
  const RendererPtr renderer(SDL_CreateSoftwareRenderer(_surface.get()));
  if (!renderer) throw std::runtime_error(SDL_GetError());
  SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
  static std::map<std::string, TextRenderer> renderers;  // load the fonts only once
  TextRenderer& texts = renderers.try_emplace(language, language).first->second;
  SceneRenderer scenes(renderer.get(), texts, access);
  _animated = scenes.draw(scene, width, height, now);
  SDL_RenderPresent(renderer.get());
}

CairoSurfacePtr Picture::cairoSurface() const {
  return CairoSurfacePtr(cairo_image_surface_create_for_data(
      static_cast<unsigned char*>(_surface->pixels), CAIRO_FORMAT_RGB24, _surface->w, _surface->h,
      _surface->pitch));
}

Pixel Picture::at(int x, int y) const {
  const auto* row = static_cast<const std::uint8_t*>(_surface->pixels) +
                    static_cast<std::ptrdiff_t>(y) * _surface->pitch;
  const std::uint32_t pixel = reinterpret_cast<const std::uint32_t*>(row)[x];
  return {static_cast<int>(pixel >> 16 & 255), static_cast<int>(pixel >> 8 & 255),
          static_cast<int>(pixel & 255)};
}

Picture::Bounds Picture::inked(int minimum) const {
  Bounds bounds{_surface->w, _surface->h, -1, -1};
  for (int y = 0; y < _surface->h; ++y) {
    for (int x = 0; x < _surface->w; ++x) {
      if (at(x, y).brightness() < minimum) continue;
      bounds.left = std::min(bounds.left, x);
      bounds.right = std::max(bounds.right, x);
      bounds.top = std::min(bounds.top, y);
      bounds.bottom = std::max(bounds.bottom, y);
    }
  }
  return bounds;
}

int whiteBelowBlur() {
  const Color& tint = theme::kBlurDarkening;
  const float own = tint.alpha * (tint.red + tint.green + tint.blue) / 3;
  return static_cast<int>(255 * (1 - tint.alpha + own));
}

platform::Scene sceneOf(std::vector<platform::SceneElement> elements) {
  platform::SceneNode all;
  all.frame = platform::kScreenBounds;
  all.elements = std::move(elements);
  return {{std::move(all)}};
}

platform::SceneNode node(platform::Rect frame, platform::SceneElement element, float alpha) {
  platform::SceneNode result;
  result.frame = frame;
  result.alpha = platform::AnimatedAlpha::constant(alpha);
  result.elements.push_back(std::move(element));
  return result;
}

}  // namespace box::test
