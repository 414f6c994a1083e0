#include "startup/MemoryPools.h"

#include <malloc.h>

namespace startup {
namespace {

constexpr int kMemoryPools = 2;
constexpr int kMappedFrom = 512 * 1024;

}  // namespace

void limitMemoryPools() {
  mallopt(M_ARENA_MAX, kMemoryPools);
  // Fixed: the library would raise it with the first large block that is freed, and from then on
  // buffers of pictures and of the network would lie among small things, and stay.
  mallopt(M_MMAP_THRESHOLD, kMappedFrom);
}

}  // namespace startup
