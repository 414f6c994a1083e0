#include "media/sandbox/Sandbox.h"

#include <cerrno>
#include <cstring>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include <dlfcn.h>
#include <glob.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <netdb.h>
#include <sched.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include "tests/media/sandbox/SandboxedChild.h"

namespace {

using Around = const SandboxSurroundings&;

/// The kernel features that a row needs.
enum class Needs { Nothing, Landlock, LandlockNetwork, Sockets };

struct Row {
  const char* name;
  Needs needs;
  int (*attempt)(Around);  // returns an error number, or 0
  int expected;
  void (*options)(media::SandboxOptions&, Around) = nullptr;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

int errorOf(long result) { return result < 0 ? errno : 0; }

int opens(const std::string& path, int flags = O_RDONLY) {
  const int file = open(path.c_str(), flags, 0600);
  const int error = errorOf(file);
  if (file >= 0) close(file);
  return error;
}

int connectsSocket(int client, const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return errorOf(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

int connects(const std::string& path) {
  const int client = socket(AF_UNIX, SOCK_STREAM, 0);
  return client < 0 ? errno : connectsSocket(client, path);
}

int makesSocket(int family, int type, int protocol = 0) {
  return errorOf(socket(family, type, protocol));
}

int makesProcess(int flags) {
  const long made = syscall(SYS_clone, flags, 0, 0, 0, 0);
  if (made == 0) _exit(0);
  return errorOf(made);
}

template <long call>
int calls(Around) {
  return errorOf(syscall(call, 0, 0, 0, 0, 0, 0));
}

void allowFiles(media::SandboxOptions& options, Around) { options.allowFileURLs = true; }
void allowVendorToRead(media::SandboxOptions& options, Around around) {
  options.readable.push_back(around.vendor);
}
void allowVendorToWrite(media::SandboxOptions& options, Around around) {
  options.writable.push_back(around.vendor);
}

const Row kForbidden[] = {
    // Files.
    {"ReadShadow", Needs::Landlock, [](Around) { return opens("/etc/shadow"); }, EACCES},
    {"ReadShadowWithFileURLs", Needs::Landlock, [](Around) { return opens("/etc/shadow"); }, EACCES,
     allowFiles},
    {"ReadFilesOfTheUser", Needs::Landlock, [](Around around) { return opens(around.film); },
     EACCES},
    {"WriteFilesOfTheUser", Needs::Landlock,
     [](Around around) { return opens(around.film, O_WRONLY); }, EACCES, allowFiles},
    {"MakeFilesAtHome", Needs::Landlock,
     [](Around around) { return opens(around.folder / "home/new", O_CREAT | O_WRONLY); }, EACCES,
     allowFiles},
    {"MakeFilesAmongLibraries", Needs::Landlock,
     [](Around) { return opens("/usr/lib/vorlane-new", O_CREAT | O_WRONLY); }, EACCES},
    {"ReadOtherProcesses", Needs::Landlock,
     [](Around) { return opens("/proc/" + std::to_string(getppid()) + "/environ"); }, EACCES},
    {"WriteWhereReadingIsAllowed", Needs::Landlock,
     [](Around around) { return opens(around.vendor + "/model", O_WRONLY); }, EACCES,
     allowVendorToRead},
    {"ChangeModes", Needs::Nothing,
     [](Around around) { return errorOf(chmod(around.film.c_str(), 0644)); }, EPERM},
    {"LinkInTheCache", Needs::Nothing,
     [](Around around) { return errorOf(symlink("/etc", (around.cache + "/etc").c_str())); },
     EPERM},
    // Programs and processes.
    {"Execute", Needs::Nothing,
     [](Around) {
       char* const arguments[] = {nullptr};
       return errorOf(execve("/bin/true", arguments, arguments));
     },
     EPERM},
    {"Fork", Needs::Nothing, [](Around) { return makesProcess(SIGCHLD); }, ENOSYS},
    {"Spawn", Needs::Nothing,
     [](Around) {
       char name[] = "true";
       char* const arguments[] = {name, nullptr};
       return posix_spawn(nullptr, "/bin/true", nullptr, nullptr, arguments, environ);
     },
     ENOSYS},
    {"MakeNamespaces", Needs::Nothing, [](Around) { return makesProcess(CLONE_NEWUSER | SIGCHLD); },
     ENOSYS},
    {"Trace", Needs::Nothing,
     [](Around) { return errorOf(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr)); }, EPERM},
    {"Signal", Needs::Nothing, [](Around) { return errorOf(kill(getppid(), 0)); }, ENOSYS},
    {"SignalThreads", Needs::Nothing,
     [](Around) { return errorOf(tgkill(getppid(), getppid(), 0)); }, ENOSYS},
    {"SignalByDescriptor", Needs::Nothing,
     [](Around) { return errorOf(fcntl(0, F_SETOWN, getppid())); }, ENOSYS},
    {"LimitOthers", Needs::Nothing,
     [](Around) {
       rlimit limit{};
       return errorOf(prlimit(getppid(), RLIMIT_NOFILE, nullptr, &limit));
     },
     ENOSYS},
    {"ReadMemoryOfOthers", Needs::Nothing, calls<SYS_process_vm_readv>, EPERM},
    {"WriteMemoryOfOthers", Needs::Nothing, calls<SYS_process_vm_writev>, EPERM},
    {"InjectTerminalInput", Needs::Nothing, [](Around) { return errorOf(ioctl(0, TIOCSTI, "x")); },
     ENOSYS},
    // Sockets.
    {"ConnectToTheReceiverSocket", Needs::Sockets,
     [](Around around) { return connects(around.receiverSocket); }, EACCES},
    {"ConnectByAPathWithDotDot", Needs::Sockets,
     [](Around around) {
       return connects(around.folder / "run/pulse/native/../../tvvorlane/receiver.sock");
     },
     EACCES},
    {"ConnectAnInheritedPair", Needs::Sockets,
     [](Around around) {
       int pair[2];
       if (socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) return errno;
       return connectsSocket(pair[0], around.receiverSocket);
     },
     EACCES},
    {"SendToPaths", Needs::Sockets, [](Around) { return makesSocket(AF_UNIX, SOCK_DGRAM); },
     EACCES},
    {"SendToPathsFromPairs", Needs::Nothing,
     [](Around) {
       int pair[2];
       return errorOf(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair));
     },
     ENOSYS},
    {"ReadPackets", Needs::Nothing, [](Around) { return makesSocket(AF_PACKET, SOCK_RAW); },
     ENOSYS},
    {"SendRawPackets", Needs::Nothing,
     [](Around) { return makesSocket(AF_INET, SOCK_RAW, IPPROTO_ICMP); }, ENOSYS},
    {"ReceiveKernelEvents", Needs::Nothing,
     [](Around) { return makesSocket(AF_NETLINK, SOCK_RAW, 15); }, ENOSYS},
    {"BindPorts", Needs::LandlockNetwork,
     [](Around) {
       const int server = socket(AF_INET, SOCK_STREAM, 0);
       sockaddr_in address{};
       address.sin_family = AF_INET;
       return errorOf(bind(server, reinterpret_cast<const sockaddr*>(&address), sizeof address));
     },
     EACCES},
    {"Listen", Needs::Nothing,
     [](Around) { return errorOf(listen(socket(AF_INET, SOCK_STREAM, 0), 1)); }, EPERM},
    // The system.
    {"Mount", Needs::Nothing,
     [](Around around) {
       return errorOf(mount("none", around.cache.c_str(), "tmpfs", 0, nullptr));
     },
     EPERM},
    {"Unshare", Needs::Nothing, calls<SYS_unshare>, EPERM},
    {"ChangeUser", Needs::Nothing, [](Around) { return errorOf(setuid(getuid())); }, EPERM},
    {"UseKeys", Needs::Nothing, calls<SYS_keyctl>, EPERM},
    {"LoadBPFPrograms", Needs::Nothing, calls<SYS_bpf>, EPERM},
    {"ReadPerformanceCounters", Needs::Nothing, calls<SYS_perf_event_open>, EPERM},
    {"HandlePageFaults", Needs::Nothing, calls<SYS_userfaultfd>, EPERM},
    {"LoadModules", Needs::Nothing, calls<SYS_finit_module>, EPERM},
    {"LoadKernels", Needs::Nothing, calls<SYS_kexec_load>, EPERM},
    {"UseIOUring", Needs::Nothing, calls<SYS_io_uring_setup>, ENOSYS},
    // Limits.
    {"AllocateTooMuchMemory", Needs::Nothing,
     [](Around) {
       const void* made = mmap(nullptr, std::size_t{3} << 30, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
       return made == MAP_FAILED ? errno : 0;
     },
     ENOMEM},
    {"OpenTooManyFiles", Needs::Nothing,
     [](Around) {
       int count = 0;
       while (dup(0) >= 0 && count < 2000) ++count;
       return count < 512 ? errno : 0;
     },
     EMFILE},
    {"ShareTooMuchMemory", Needs::Nothing,
     [](Around) { return errorOf(ftruncate(memfd_create("test", 0), off_t{1} << 30)); }, EFBIG},
};

int writesIntoCache(Around around) {
  const std::string folder = around.cache + "/new", first = folder + "/1", second = folder + "/2";
  const int file =
      mkdir(folder.c_str(), 0700) == 0 ? open(first.c_str(), O_CREAT | O_RDWR, 0600) : -1;
  if (file < 0 || write(file, "x", 1) != 1 || ftruncate(file, 0) != 0 ||
      futimens(file, nullptr) != 0)
    return errno;
  return errorOf(rename(first.c_str(), second.c_str()) | unlink(second.c_str()) |
                 rmdir(folder.c_str()));
}

int loadsPlugin(Around) {
  glob_t found{};
  if (glob("/usr/lib/*/gstreamer-1.0/libgstcoreelements.so", 0, nullptr, &found) != 0)
    return ENOENT;
  return dlopen(found.gl_pathv[0], RTLD_NOW | RTLD_LOCAL) ? 0 : EINVAL;
}

int resolves(Around) {
  addrinfo* found = nullptr;
  const int error = getaddrinfo("localhost", "80", nullptr, &found);
  return error == EAI_SYSTEM ? errno : error;
}

/// Blocking and non-blocking descriptors keep their mode.
int connectsToSoundServer(Around around) {
  for (const int flags : {0, int{SOCK_NONBLOCK}}) {
    const int client = socket(AF_UNIX, SOCK_STREAM | flags, 0);
    if (const int error = connectsSocket(client, around.sound)) return error;
    if ((fcntl(client, F_GETFL) & O_NONBLOCK) != (flags != 0 ? O_NONBLOCK : 0)) return EINVAL;
    if (write(client, "x", 1) != 1) return errno;
  }
  return 0;
}

int hasNoCapabilities(Around) {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
  if (syscall(SYS_capget, &header, sets) != 0) return errno;
  return sets[0].permitted | sets[1].permitted ? EEXIST : 0;
}

const Row kNeeded[] = {
    {"Threads", Needs::Nothing,
     [](Around) {
       int answer = EINVAL;
       std::thread([&] { answer = errorOf(pthread_setname_np(pthread_self(), "decoder")); }).join();
       return answer;
     },
     0},
    {"OwnSignals", Needs::Nothing, [](Around) { return raise(SIGCHLD) | kill(getpid(), 0); }, 0},
    {"Alarms", Needs::Nothing,
     [](Around) {
       alarm(60);
       return alarm(0) == 60 ? 0 : EINVAL;
     },
     0},
    {"Connections", Needs::Nothing,
     [](Around around) {
       return errorOf(connect(socket(AF_INET, SOCK_STREAM, 0),
                              reinterpret_cast<const sockaddr*>(&around.tcpAddress),
                              sizeof around.tcpAddress));
     },
     0},
    {"NonBlockingConnections", Needs::Nothing,
     [](Around around) {
       return errorOf(connect(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0),
                              reinterpret_cast<const sockaddr*>(&around.tcpAddress),
                              sizeof around.tcpAddress));
     },
     EINPROGRESS},
    {"NameResolution", Needs::Nothing, resolves, 0},
    {"SoundServer", Needs::Nothing, connectsToSoundServer, 0},
    {"MissingSoundServer", Needs::Nothing,
     [](Around around) { return connects(around.folder / "run/pipewire-0"); }, ENOENT},
    {"Plugins", Needs::Nothing, loadsPlugin, 0},
    {"SystemFiles", Needs::Nothing,
     [](Around) {
       for (const char* path : {"/etc/ssl/certs", "/etc/resolv.conf", "/dev/urandom",
                                "/proc/self/maps", "/sys/devices/system/cpu/online"})
         if (const int error = opens(path)) return error;
       return opens("/dev/null", O_RDWR);
     },
     0},
    {"Cache", Needs::Nothing, writesIntoCache, 0},
    {"SharedMemory", Needs::Nothing,
     [](Around) {
       const int made = memfd_create("frame", MFD_CLOEXEC | MFD_ALLOW_SEALING);
       if (made < 0 || ftruncate(made, 4 << 20) != 0) return errno;
       return errorOf(fcntl(made, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL));
     },
     0},
    {"SharedMemoryOfALSA", Needs::Nothing,
     [](Around) {
       const int made = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
       return errorOf(made < 0 ? made : shmctl(made, IPC_RMID, nullptr));
     },
     0},
    {"CompiledCode", Needs::Nothing,
     [](Around) {
       const void* made = mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC,
                               MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
       return made == MAP_FAILED ? errno : 0;
     },
     0},
    {"FilesOfTheUser", Needs::Nothing, [](Around around) { return opens(around.film); }, 0,
     allowFiles},
    {"VendorFiles", Needs::Nothing, [](Around around) { return opens(around.vendor + "/model"); },
     0, allowVendorToRead},
    {"VendorDevices", Needs::Nothing,
     [](Around around) { return opens(around.vendor + "/model", O_RDWR); }, 0, allowVendorToWrite},
    {"NoCapabilities", Needs::Nothing, hasNoCapabilities, 0},
};

class Sandbox : public testing::TestWithParam<Row> {};

TEST_P(Sandbox, MatchesTheTable) {
  const Row& row = GetParam();
  const SandboxSurroundings around;
  media::SandboxOptions options;
  if (row.options) row.options(options, around);
  const SandboxOutcome outcome = runSandboxed(around, options, [&] { return row.attempt(around); });
  const media::SandboxReport& report = outcome.report;
  ASSERT_FALSE(report.text.empty()) << "the child process has died";
  const long landlock = syscall(SYS_landlock_create_ruleset, nullptr, 0, 1);
  const bool isThere = row.needs == Needs::Nothing ||
                       (row.needs == Needs::Sockets && report.sockets) ||
                       (row.needs == Needs::Landlock && landlock >= 1) ||
                       (row.needs == Needs::LandlockNetwork && landlock >= 4);
  if (!isThere) GTEST_SKIP() << report.text;
  EXPECT_STREQ(std::strerror(outcome.result), std::strerror(row.expected)) << report.text;
}

std::string rowName(const testing::TestParamInfo<Row>& row) { return row.param.name; }
INSTANTIATE_TEST_SUITE_P(Forbids, Sandbox, testing::ValuesIn(kForbidden), rowName);
INSTANTIATE_TEST_SUITE_P(Allows, Sandbox, testing::ValuesIn(kNeeded), rowName);

TEST(SandboxReport, ListsMissingKernelFeatures) {
  const SandboxSurroundings around;
  const media::SandboxReport report = runSandboxed(around, {}, [] { return 0; }).report;
  EXPECT_TRUE(report.noNewPrivileges && report.capabilities && report.seccomp && report.limits)
      << report.text;
  const bool hasLandlock = syscall(SYS_landlock_create_ruleset, nullptr, 0, 1) > 0;
  EXPECT_EQ(report.landlock, hasLandlock) << report.text;
  EXPECT_EQ(report.text.find("does not limit") != std::string::npos,
            !report.landlock || !report.sockets)
      << report.text;
}

/// The helper becomes a child of the test after its parent has ended.
TEST(SandboxHelper, EndsWithTheProcess) {
  ASSERT_EQ(prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0), 0);
  const SandboxSurroundings around;
  const SandboxOutcome outcome = runSandboxed(around, {}, [] { return 0; });
  if (!outcome.report.sockets) GTEST_SKIP() << outcome.report.text;
  int status = -1;
  EXPECT_GT(waitpid(-1, &status, 0), 0);
  EXPECT_EQ(status, 0);
  prctl(PR_SET_CHILD_SUBREAPER, 0, 0, 0, 0);
}

/// Only root may read all of /etc, so for other users the whole folder is allowed.
TEST(SandboxUser, ReadsConfigurationThatIsReplacedLater) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root, to become another user";
  constexpr uid_t kNobody = 65534;
  const SandboxSurroundings around;
  const pid_t child = fork();
  if (child == 0) {
    if (setgid(kNobody) != 0 || setuid(kNobody) != 0) _exit(2);
    media::Sandbox({}).enter();
    _exit(opens("/etc/shadow") == EACCES && opens("/etc/fstab") == 0 ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
