#include "box/screen/wayland/WaylandBuffer.h"

#include <cstdint>
#include <limits>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace box {
namespace {

/// Returns -1 if there is no memory.
int makeSharedMemory(std::size_t bytes) {
  const int descriptor = memfd_create("tvvorlane-window", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (descriptor < 0) return -1;
  if (posix_fallocate(descriptor, 0, static_cast<off_t>(bytes)) == 0) return descriptor;
  close(descriptor);
  return -1;
}

}  // namespace

std::unique_ptr<WaylandBuffer> WaylandBuffer::make(wl_shm* memory, int width, int height) {
  static constexpr wl_buffer_listener kListener = {
      [](void* self, wl_buffer*) { static_cast<WaylandBuffer*>(self)->_free = true; }};
  const std::int64_t bytes = std::int64_t{4} * width * height;
  if (bytes <= 0 || bytes > std::numeric_limits<std::int32_t>::max()) return nullptr;
  const auto size = static_cast<std::size_t>(bytes);
  const int descriptor = makeSharedMemory(size);
  if (descriptor < 0) return nullptr;
  void* const pixels = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  std::unique_ptr<WaylandBuffer> buffer;
  if (pixels != MAP_FAILED) {
    buffer.reset(new WaylandBuffer(pixels, size));
    const WaylandPtr<wl_shm_pool> pool(
        wl_shm_create_pool(memory, descriptor, static_cast<std::int32_t>(bytes)));
    if (pool) {
      buffer->_buffer.reset(wl_shm_pool_create_buffer(pool.get(), 0, width, height, 4 * width,
                                                      WL_SHM_FORMAT_XRGB8888));
    }
  }
  close(descriptor);
  if (!buffer || !buffer->_buffer) return nullptr;
  wl_buffer_add_listener(buffer->_buffer.get(), &kListener, buffer.get());
  return buffer;
}

WaylandBuffer::~WaylandBuffer() { munmap(_pixels, _bytes); }

void WaylandBuffer::attach(wl_surface* surface) {
  _free = false;
  wl_surface_attach(surface, _buffer.get(), 0, 0);
}

}  // namespace box
