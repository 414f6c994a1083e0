#include "frames/SharedBuffer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace frames {

std::unique_ptr<SharedBuffer> SharedBuffer::make(std::size_t bytes) {
  const int descriptor = memfd_create("vorlane-frames", MFD_CLOEXEC | MFD_ALLOW_SEALING);
  if (descriptor < 0) return nullptr;
  void* data = MAP_FAILED;
  if (ftruncate(descriptor, static_cast<off_t>(bytes)) == 0 &&
      fcntl(descriptor, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) == 0) {
    // MAP_POPULATE maps all pages at once. That is faster than a page fault per page in the first
    // picture.
    data = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, descriptor, 0);
  }
  if (data == MAP_FAILED) {
    ::close(descriptor);
    return nullptr;
  }
  return std::unique_ptr<SharedBuffer>(
      new SharedBuffer(descriptor, static_cast<std::uint8_t*>(data), bytes));
}

SharedBuffer::~SharedBuffer() {
  munmap(_data, _size);
  ::close(_descriptor);
}

}  // namespace frames
