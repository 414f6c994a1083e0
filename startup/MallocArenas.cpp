#include "startup/MallocArenas.h"

#include <malloc.h>

namespace startup {
namespace {

constexpr int kMaxArenas = 2;
constexpr int kMmapThreshold = 512 * 1024;

}  // namespace

void limitMallocArenas() {
  mallopt(M_ARENA_MAX, kMaxArenas);
  // Setting the threshold disables its dynamic adjustment. Otherwise freeing the first large block
  // raises it, and picture and network buffers are then allocated on the heap, where they cause
  // fragmentation.
  mallopt(M_MMAP_THRESHOLD, kMmapThreshold);
}

}  // namespace startup
