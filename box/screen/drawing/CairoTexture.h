#pragma once

#include <memory>
#include <vector>

#include <cairo.h>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/Bytes.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

struct CairoDeleter {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, CairoDeleter>;
using CairoPtr = std::unique_ptr<cairo_t, CairoDeleter>;

/// A transparent Cairo surface to draw on, in pixels.
class CairoPicture {
 public:
  CairoPicture(int width, int height);

  cairo_t* context() const { return _context.get(); }
  void setColor(platform::Color color) const;

  /// Converts the surface to a texture with alpha blending. Null on failure. The surface cannot be
  /// used afterwards.
  TexturePtr makeTexture(SDL_Renderer* renderer);

 private:
  CairoSurfacePtr _surface;
  CairoPtr _context;
};

/// Converts premultiplied ARGB rows to straight alpha in place. Renderers without custom blend
/// modes multiply by alpha again.
void unpremultiply(unsigned char* data, int width, int height, int stride);

/// Opaque 32-bit pixels (native-endian 0xXXRRGGBB), top row first.
struct PixelRows {
  std::vector<unsigned char> bytes;
  int width = 0;
  int height = 0;
  int stride = 0;  ///< bytes per row
};

/// Returns null if there are no pixels. Thread-safe.
std::shared_ptr<const platform::Bytes> encodePng(PixelRows rows);

}  // namespace box
