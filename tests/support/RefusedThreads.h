#pragma once

#include <cstdlib>

#include <sys/resource.h>
#include <unistd.h>

namespace testing_support {

/// From here on the system refuses this process every thread: for a process that ends with the
/// test. The limit does not bind root, which becomes somebody else first.
inline void refuseThreads() {
  constexpr uid_t kSomebody = 54321;
  constexpr rlimit kNone{0, 0};
  if (geteuid() == 0 && setresuid(kSomebody, kSomebody, kSomebody) != 0) std::_Exit(2);
  if (setrlimit(RLIMIT_NPROC, &kNone) != 0) std::_Exit(2);
}

}  // namespace testing_support
