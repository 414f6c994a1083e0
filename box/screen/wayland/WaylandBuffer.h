#pragma once

#include <memory>

#include "box/screen/wayland/WaylandPointers.h"

namespace box {

/// A picture in memory that is shared with the compositor, 32 bits a pixel (XRGB). Thread: the
/// screen's.
class WaylandBuffer {
 public:
  /// Returns null if there is no memory.
  static std::unique_ptr<WaylandBuffer> make(wl_shm* memory, int width, int height);
  ~WaylandBuffer();
  WaylandBuffer(const WaylandBuffer&) = delete;
  WaylandBuffer& operator=(const WaylandBuffer&) = delete;

  void* pixels() const { return _pixels; }
  /// Shows it with the next commit of the surface. Until the compositor releases it, isFree() is
  /// false.
  void attach(wl_surface* surface);
  bool isFree() const { return _free; }

 private:
  WaylandBuffer(void* pixels, std::size_t bytes) : _pixels(pixels), _bytes(bytes) {}

  void* const _pixels;
  const std::size_t _bytes;
  WaylandPtr<wl_buffer> _buffer;
  bool _free = true;
};

}  // namespace box
