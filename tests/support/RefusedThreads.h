#pragma once

#include <cstdlib>

#include <sys/resource.h>
#include <unistd.h>

namespace testing_support {

/// Makes the creation of threads fail in this process from now on. Call it in a child process only.
/// Root is not limited, so it changes to another user first.
inline void refuseThreads() {
  constexpr uid_t kUnprivilegedUser = 54321;
  constexpr rlimit kNone{0, 0};
  if (geteuid() == 0 && setresuid(kUnprivilegedUser, kUnprivilegedUser, kUnprivilegedUser) != 0)
    std::_Exit(2);
  if (setrlimit(RLIMIT_NPROC, &kNone) != 0) std::_Exit(2);
}

}  // namespace testing_support
