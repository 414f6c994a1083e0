#include "fuzz/support/InputMeter.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <sanitizer/allocator_interface.h>
#include <sanitizer/common_interface_defs.h>

namespace {

constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

std::size_t stepCount = 0;
std::size_t stepLimit = kUnlimited;
bool isCountingHeap = false;
// Negative when memory is freed that was allocated before.
std::ptrdiff_t heapBytes = 0;
std::ptrdiff_t heapLimit = 0;

void failInput(const char* what, std::size_t limit) {
  stepLimit = kUnlimited;
  isCountingHeap = false;
  std::fprintf(stderr, "==ERROR: the input needs more than %zu %s\n", limit, what);
  __sanitizer_print_stack_trace();
  std::abort();
}

void onAllocation(const volatile void*, std::size_t size) {
  if (!isCountingHeap) return;
  heapBytes += static_cast<std::ptrdiff_t>(size);
  if (heapBytes > heapLimit) failInput("bytes of memory", static_cast<std::size_t>(heapLimit));
}

void onDeallocation(const volatile void* memory) {
  if (!isCountingHeap || memory == nullptr) return;
  heapBytes -=
      static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(const_cast<const void*>(memory)));
}

}  // namespace

// The linker redirects the callbacks of -fsanitize-coverage=trace-pc-guard to these functions,
// because libFuzzer defines the callbacks too and does not use them.
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" void __wrap___sanitizer_cov_trace_pc_guard_init(std::uint32_t*, std::uint32_t*) {}
extern "C" void __wrap___sanitizer_cov_trace_pc_guard(std::uint32_t*) {
  if (++stepCount > stepLimit) failInput("steps", stepLimit);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace fuzz {

InputMeter::InputMeter(const InputLimits& limits, std::size_t inputBytes) {
  static const int installed =
      __sanitizer_install_malloc_and_free_hooks(&onAllocation, &onDeallocation);
  if (installed == 0) std::abort();
  const auto total = [&](InputLimits::Limit limit) {
    return limit.constant + limit.perByte * inputBytes;
  };
  heapBytes = 0;
  heapLimit = static_cast<std::ptrdiff_t>(total(limits.heap));
  isCountingHeap = true;
  stepCount = 0;
  stepLimit = total(limits.steps);
}

InputMeter::~InputMeter() {
  stepLimit = kUnlimited;
  isCountingHeap = false;
}

}  // namespace fuzz
