#pragma once

#include <memory>
#include <vector>

#include <cairo.h>

#include "box/screen/drawing/Sdl.h"
#include "platform/foundation/Value.h"
#include "platform/ui/scene/Geometry.h"

namespace box {

struct CairoDeleter {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using CairoSurfacePtr = std::unique_ptr<cairo_surface_t, CairoDeleter>;
using CairoPtr = std::unique_ptr<cairo_t, CairoDeleter>;

/// A transparent picture to draw on, in pixels.
class CairoPicture {
 public:
  CairoPicture(int width, int height);

  cairo_t* context() const { return _context.get(); }
  void setColor(platform::Color color) const;

  /// What was drawn, as a texture that blends; null when the renderer refuses. The picture is used
  /// up.
  TexturePtr makeTexture(SDL_Renderer* renderer);

 private:
  CairoSurfacePtr _surface;
  CairoPtr _context;
};

/// Turns premultiplied ARGB rows into straight ones in place: renderers without blend modes of
/// their own multiply by alpha once more.
void unpremultiply(unsigned char* data, int width, int height, int stride);

/// Opaque 32-bit pixels (native-endian 0xXXRRGGBB), in rows from the top.
struct PixelRows {
  std::vector<unsigned char> bytes;
  int width = 0;
  int height = 0;
  int stride = 0;  ///< bytes from row to row
};

/// Null when there are no pixels. Any thread.
std::shared_ptr<const platform::Bytes> encodePng(PixelRows rows);

}  // namespace box
