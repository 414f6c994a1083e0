#include "box/process/MemoryRelease.h"

#include <cstddef>
#include <cstdint>

#include <link.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace box {

namespace {

constexpr int kMemoryPools = 2;

bool isRelocatedInPlace(const dl_phdr_info& object) {
  for (std::size_t index = 0; index < object.dlpi_phnum; ++index) {
    const auto& segment = object.dlpi_phdr[index];
    if (segment.p_type != PT_DYNAMIC) continue;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader names places by number
    const auto* entry = reinterpret_cast<const ElfW(Dyn)*>(object.dlpi_addr + segment.p_vaddr);
    for (; entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag == DT_TEXTREL) return true;
      if (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL) != 0) return true;
    }
  }
  return false;
}

/// What no one ever writes equals the file, so that it can be dropped at any time. The loader's
/// lock is held meanwhile: no object goes, and nothing else comes to lie at its addresses.
int dropUnwrittenPages(dl_phdr_info* object, std::size_t, void*) {
  if (isRelocatedInPlace(*object)) return 0;
  const auto pageSize = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  for (std::size_t index = 0; index < object->dlpi_phnum; ++index) {
    const auto& segment = object->dlpi_phdr[index];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) != 0) continue;
    const std::uintptr_t address = object->dlpi_addr + segment.p_vaddr;
    const std::uintptr_t begin = address & ~(pageSize - 1);
    // Whole pages only: the last one may hold the beginning of something else.
    const std::uintptr_t end = (address + segment.p_memsz) & ~(pageSize - 1);
    if (end <= begin) continue;
    // Where the kernel refuses, as it does for the page of its own, nothing has changed.
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED);
  }
  return 0;
}

constexpr int kMappedFrom = 512 * 1024;

}  // namespace

void limitMemoryPools() {
  mallopt(M_ARENA_MAX, kMemoryPools);
  // Fixed: the library would raise it with the first large block that is freed, and from then on
  // buffers of pictures and of the network would lie among small things, and stay.
  mallopt(M_MMAP_THRESHOLD, kMappedFrom);
}

void releaseUnusedMemory() {
  malloc_trim(0);
  dl_iterate_phdr(dropUnwrittenPages, nullptr);
}

}  // namespace box
