#include "box/frames/MappedBuffer.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/statfs.h>

#include "frames/vorlane-frames.h"

namespace box {

std::shared_ptr<MappedBuffer> MappedBuffer::map(int descriptor, std::string& reason) {
  const auto refuse = [&](std::string why) {
    reason = std::move(why);
    return nullptr;
  };
  constexpr int kNeeded = F_SEAL_SHRINK | F_SEAL_GROW;
  const int seals = fcntl(descriptor, F_GET_SEALS);
  if (seals < 0 || (seals & kNeeded) != kNeeded) {
    return refuse("a buffer without size seals");
  }
  struct statfs system {};
  // Reading huge pages can fail with SIGBUS when the pool is exhausted.
  if (fstatfs(descriptor, &system) != 0 || system.f_type == HUGETLBFS_MAGIC) {
    return refuse("a buffer of huge pages");
  }
  // Checked after the seals: the size can no longer change.
  struct stat file {};
  if (fstat(descriptor, &file) != 0 || file.st_size <= 0 ||
      static_cast<std::uint64_t>(file.st_size) > VORLANE_FRAMES_MAXIMUM_BYTES) {
    return refuse("a buffer of " + std::to_string(file.st_size) + " bytes");
  }
  const auto size = static_cast<std::size_t>(file.st_size);
  void* const data = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
  if (data == MAP_FAILED) {
    return refuse(std::string("a buffer that cannot be mapped: ") + std::strerror(errno));
  }
  return std::shared_ptr<MappedBuffer>(
      new MappedBuffer(static_cast<const std::uint8_t*>(data), size));
}

MappedBuffer::~MappedBuffer() { munmap(const_cast<std::uint8_t*>(_data), _size); }

}  // namespace box
