#include "media/sandbox/ProcessLimits.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "media/sandbox/Sandbox.h"

namespace media {
namespace {

constexpr int kOutOfMemoryStep = 300;
constexpr int kHighestOutOfMemoryScore = 1000;
constexpr unsigned long kMaxCapabilities = 64;

/// Lowers the soft and the hard limit. Never raises one.
bool lower(__rlimit_resource resource, std::uint64_t value) {
  rlimit limit{};
  if (getrlimit(resource, &limit) != 0) return false;
  limit.rlim_max = std::min<rlim_t>(limit.rlim_max, value);
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_cur, value);
  return setrlimit(resource, &limit) == 0;
}

/// Returns the memory that RLIMIT_DATA limits. With a sanitizer this is terabytes.
std::uint64_t bytesInUse() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmData:")) return std::stoull(line.substr(7)) << 10;
  return 0;
}

void raiseOutOfMemoryScore() {
  const char* const path = "/proc/self/oom_score_adj";
  int score = 0;
  if (std::ifstream(path) >> score)
    std::ofstream(path) << std::min(score + kOutOfMemoryStep, kHighestOutOfMemoryScore);
}

}  // namespace

bool setProcessLimits(const SandboxOptions& options) {
  raiseOutOfMemoryScore();
  std::signal(SIGXFSZ, SIG_IGN);
  return lower(RLIMIT_DATA, bytesInUse() + options.memoryBytes) &&
         lower(RLIMIT_FSIZE, options.fileBytes) && lower(RLIMIT_NOFILE, options.descriptors);
}

bool dropCapabilities() {
  // Fails without CAP_SETPCAP. That is harmless: no_new_privs is set.
  for (unsigned long each = 0; each < kMaxCapabilities; ++each)
    prctl(PR_CAPBSET_DROP, each, 0, 0, 0);
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  // capset() may be forbidden for a process that has no capabilities.
  if (syscall(SYS_capget, &header, sets) == 0 && (sets[0].permitted | sets[1].permitted) == 0)
    return true;
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capset, &header, none) == 0;
}

}  // namespace media
