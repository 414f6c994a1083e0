#include "box/screen/drawing/CairoTexture.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace box {

CairoPicture::CairoPicture(int width, int height)
    : _surface(
          cairo_image_surface_create(CAIRO_FORMAT_ARGB32, std::max(width, 1), std::max(height, 1))),
      _context(cairo_create(_surface.get())) {}

void CairoPicture::setColor(platform::Color color) const {
  cairo_set_source_rgba(_context.get(), static_cast<double>(color.red),
                        static_cast<double>(color.green), static_cast<double>(color.blue),
                        static_cast<double>(color.alpha));
}

TexturePtr CairoPicture::makeTexture(SDL_Renderer* renderer) {
  _context.reset();
  cairo_surface_flush(_surface.get());
  unsigned char* data = cairo_image_surface_get_data(_surface.get());
  if (!data) return nullptr;
  const int width = cairo_image_surface_get_width(_surface.get());
  const int height = cairo_image_surface_get_height(_surface.get());
  const int stride = cairo_image_surface_get_stride(_surface.get());
  unpremultiply(data, width, height, stride);
  TexturePtr texture(SDL_CreateTexture(renderer, SDL_PIXELFORMAT_ARGB8888, SDL_TEXTUREACCESS_STATIC,
                                       width, height));
  if (!texture || SDL_UpdateTexture(texture.get(), nullptr, data, stride) != 0) return nullptr;
  SDL_SetTextureBlendMode(texture.get(), SDL_BLENDMODE_BLEND);
  return texture;
}

void unpremultiply(unsigned char* data, int width, int height, int stride) {
  for (int y = 0; y < height; ++y) {
    unsigned char* row = data + static_cast<std::ptrdiff_t>(y) * stride;
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      std::uint32_t pixel = 0;
      std::memcpy(&pixel, row + 4 * x, sizeof pixel);
      const std::uint32_t alpha = pixel >> 24;
      if (alpha == 0 || alpha == 255) continue;
      const auto straight = [&](unsigned shift) {
        const std::uint32_t value = ((pixel >> shift & 255U) * 255U + alpha / 2) / alpha;
        return std::min(value, 255U) << shift;
      };
      pixel = alpha << 24 | straight(16) | straight(8) | straight(0);
      std::memcpy(row + 4 * x, &pixel, sizeof pixel);
    }
  }
}

std::shared_ptr<const platform::Bytes> encodePng(PixelRows rows) {
  if (rows.width <= 0 || rows.height <= 0 || rows.stride < 4 * rows.width ||
      rows.bytes.size() <
          static_cast<std::size_t>(rows.stride) * static_cast<std::size_t>(rows.height)) {
    return nullptr;
  }
  const CairoSurfacePtr surface(cairo_image_surface_create_for_data(
      rows.bytes.data(), CAIRO_FORMAT_RGB24, rows.width, rows.height, rows.stride));
  auto png = std::make_shared<platform::Bytes>();
  const auto append = [](void* closure, const unsigned char* data, unsigned length) {
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    auto& out = *static_cast<platform::Bytes*>(closure);
    out.insert(out.end(), bytes, bytes + length);
    return CAIRO_STATUS_SUCCESS;
  };
  if (cairo_surface_write_to_png_stream(surface.get(), append, png.get()) != CAIRO_STATUS_SUCCESS) {
    return nullptr;
  }
  return png;
}

}  // namespace box
