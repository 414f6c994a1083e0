#include "media/sandbox/SystemCalls.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>

#include <fcntl.h>
#include <linux/sockios.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "media/sandbox/ServiceSockets.h"

namespace media {
namespace {

// Names that do not exist on the architecture are skipped, so the tables are for all architectures.

constexpr const char* kAllowed[] = {
    // Files and descriptors. Landlock restricts which files.
    "access", "close", "close_range", "copy_file_range", "dup", "dup2", "dup3", "faccessat",
    "faccessat2", "fadvise64", "fadvise64_64", "arm_fadvise64_64", "fallocate", "fdatasync",
    "flock", "fstat", "fstat64", "fstatat64", "fstatfs", "fstatfs64", "fsync", "ftruncate",
    "ftruncate64", "getcwd", "getdents", "getdents64", "_llseek", "lseek", "lstat", "lstat64",
    "mkdir", "mkdirat", "newfstatat", "open", "openat", "pipe", "pipe2", "pread64", "preadv",
    "preadv2", "pwrite64", "pwritev", "pwritev2", "read", "readahead", "readlink", "readlinkat",
    "readv", "rename", "renameat", "renameat2", "rmdir", "sendfile", "sendfile64", "stat", "stat64",
    "statfs", "statfs64", "statx", "sync_file_range", "umask", "unlink", "unlinkat", "write",
    "writev",
    // Memory.
    "brk", "cacheflush", "get_mempolicy", "madvise", "membarrier", "memfd_create", "mincore",
    "mlock", "mlock2", "mmap", "mmap2", "mprotect", "mremap", "msync", "munlock", "munmap",
    // Threads.
    "arch_prctl", "exit", "exit_group", "futex", "futex_time64", "futex_waitv", "get_robust_list",
    "getcpu", "restart_syscall", "rseq", "sched_get_priority_max", "sched_get_priority_min",
    "sched_getaffinity", "sched_getattr", "sched_getparam", "sched_getscheduler", "sched_yield",
    "set_robust_list", "set_thread_area", "set_tid_address", "set_tls", "wait4", "waitid",
    // Information on the process.
    "capget", "getegid", "getegid32", "geteuid", "geteuid32", "getgid", "getgid32", "getgroups",
    "getgroups32", "getpgid", "getpgrp", "getpid", "getppid", "getpriority", "getresgid",
    "getresgid32", "getresuid", "getresuid32", "getrlimit", "getrusage", "getsid", "gettid",
    "getuid", "getuid32", "sysinfo", "times", "ugetrlimit", "uname",
    // Signals.
    "pause", "rt_sigaction", "rt_sigpending", "rt_sigprocmask", "rt_sigreturn", "rt_sigsuspend",
    "rt_sigtimedwait", "rt_sigtimedwait_time64", "sigaltstack", "signalfd", "signalfd4",
    "sigreturn",
    // Time.
    "alarm", "clock_getres", "clock_getres_time64", "clock_gettime", "clock_gettime64",
    "clock_nanosleep", "clock_nanosleep_time64", "getitimer", "gettimeofday", "nanosleep",
    "setitimer", "time", "timer_create", "timer_delete", "timer_getoverrun", "timer_gettime",
    "timer_gettime64", "timer_settime", "timer_settime64", "timerfd_create", "timerfd_gettime",
    "timerfd_gettime64", "timerfd_settime", "timerfd_settime64",
    // Waiting.
    "epoll_create", "epoll_create1", "epoll_ctl", "epoll_pwait", "epoll_pwait2", "epoll_wait",
    "eventfd", "eventfd2", "_newselect", "poll", "ppoll", "ppoll_time64", "pselect6",
    "pselect6_time64", "select",
    // Sockets. bind() is for netlink sockets of the name resolver.
    "bind", "getpeername", "getsockname", "getsockopt", "recv", "recvfrom", "recvmmsg",
    "recvmmsg_time64", "recvmsg", "send", "sendmmsg", "sendmsg", "sendto", "setsockopt", "shutdown",
    // System V IPC, by which ALSA's dmix mixes streams of several processes.
    "semctl", "semget", "semop", "semtimedop", "semtimedop_time64", "shmat", "shmctl", "shmdt",
    "shmget", "getrandom"};

constexpr const char* kForbidden[] = {
    // Programs and other processes.
    "execve", "execveat", "fork", "vfork", "kcmp", "pidfd_getfd", "pidfd_open", "pidfd_send_signal",
    "process_madvise", "process_mrelease", "process_vm_readv", "process_vm_writev", "ptrace",
    "rt_sigqueueinfo", "rt_tgsigqueueinfo", "setpgid", "setsid", "tkill",
    // File system operations that Landlock does not restrict.
    "chmod", "chown", "chown32", "chroot", "fanotify_init", "fchmod", "fchmodat", "fchmodat2",
    "fchown", "fchown32", "fchownat", "fremovexattr", "fsconfig", "fsetxattr", "fsmount", "fsopen",
    "fspick", "inotify_init", "inotify_init1", "lchown", "lchown32", "link", "linkat",
    "lremovexattr", "lsetxattr", "mknod", "mknodat", "mount", "mount_setattr", "move_mount",
    "name_to_handle_at", "open_by_handle_at", "open_tree", "pivot_root", "quotactl", "quotactl_fd",
    "removexattr", "setxattr", "swapoff", "swapon", "symlink", "symlinkat", "truncate",
    "truncate64", "umount", "umount2",
    // Identity.
    "capset", "setfsgid", "setfsgid32", "setfsuid", "setfsuid32", "setgid", "setgid32", "setgroups",
    "setgroups32", "setns", "setregid", "setregid32", "setresgid", "setresgid32", "setresuid",
    "setresuid32", "setreuid", "setreuid32", "setuid", "setuid32", "unshare",
    // The kernel and the machine.
    "acct", "add_key", "adjtimex", "bpf", "clock_adjtime", "clock_settime", "delete_module",
    "finit_module", "init_module", "ioperm", "iopl", "kexec_file_load", "kexec_load", "keyctl",
    "lookup_dcookie", "migrate_pages", "modify_ldt", "move_pages", "perf_event_open", "personality",
    "reboot", "request_key", "sethostname", "setdomainname", "settimeofday", "syslog",
    "userfaultfd", "vhangup",
    // A media player accepts no connections.
    "accept", "accept4", "listen"};

using Argument = scmp_arg_cmp;

/// Compares 32 bits: the kernel ignores the upper half of most arguments, which may have any value.
Argument bits(unsigned index, std::uint64_t mask, std::uint64_t value) {
  return {index, SCMP_CMP_MASKED_EQ, mask, value};
}
Argument is(unsigned index, std::int64_t value) {
  return bits(index, 0xffffffff, static_cast<std::uint32_t>(value));
}

class Filter {
 public:
  Filter() : _filter(seccomp_init(SCMP_ACT_ERRNO(ENOSYS))) {
    if (!_filter) {
      _error = -ENOMEM;
      return;
    }
    note(seccomp_attr_set(_filter, SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_ERRNO(ENOSYS)));
    note(seccomp_attr_set(_filter, SCMP_FLTATR_CTL_TSYNC, 1));
  }
  ~Filter() { seccomp_release(_filter); }
  Filter(const Filter&) = delete;
  Filter& operator=(const Filter&) = delete;

  void add(std::uint32_t action, const char* name, std::initializer_list<Argument> where = {}) {
    const int number = seccomp_syscall_resolve_name(name);
    // Negative: the architecture or libseccomp does not know the call.
    if (number < 0 || _error != 0) return;
    note(seccomp_rule_add_array(_filter, action, number, static_cast<unsigned>(where.size()),
                                where.begin()));
  }
  void allow(const char* name, std::initializer_list<Argument> where = {}) {
    add(SCMP_ACT_ALLOW, name, where);
  }
  /// Returns a negative error number on failure.
  int load() {
    if (_error == 0) note(seccomp_load(_filter));
    return _error;
  }
  int notifications() { return seccomp_notify_fd(_filter); }

 private:
  void note(int result) {
    if (result < 0 && _error == 0) _error = result;
  }

  const scmp_filter_ctx _filter;
  int _error = 0;
};

/// Permits threads, but no processes.
void addThreads(Filter& filter) {
  constexpr std::uint64_t kThread = CLONE_THREAD | CLONE_VM;
  constexpr std::uint64_t kNamespaces = CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS |
                                        CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;
  // A filter cannot read the arguments of clone3(). With ENOSYS the C library falls back to
  // clone().
  filter.allow("clone", {bits(0, kThread | kNamespaces, kThread)});
  for (const char* call :
       {"sched_setaffinity", "sched_setattr", "sched_setparam", "sched_setscheduler"})
    filter.allow(call, {is(0, 0)});
  filter.allow("setpriority", {is(0, PRIO_PROCESS), is(1, 0)});
}

void addOwnProcess(Filter& filter) {
  const pid_t self = getpid();
  filter.allow("kill", {is(0, self)});
  filter.allow("tgkill", {is(0, self)});
  filter.allow("prlimit64", {is(0, 0)});
  filter.allow("prlimit64", {is(0, self)});
  constexpr int kNameMemory = 0x53564d41;  // PR_SET_VMA
  for (const int option :
       {PR_CAPBSET_READ, PR_GET_DUMPABLE, PR_GET_NAME, PR_GET_NO_NEW_PRIVS, PR_GET_SECCOMP,
        PR_GET_TIMERSLACK, PR_SET_NAME, PR_SET_NO_NEW_PRIVS, PR_SET_TIMERSLACK, kNameMemory})
    filter.allow("prctl", {is(0, option)});
}

void addDescriptors(Filter& filter) {
  // Commands that send signals are left out.
  for (const int command :
       {F_ADD_SEALS, F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_GETFL, F_GETLK, F_GETPIPE_SZ, F_GET_SEALS,
        F_OFD_GETLK, F_OFD_SETLK, F_OFD_SETLKW, F_SETFD, F_SETFL, F_SETLK, F_SETLKW, F_SETPIPE_SZ})
    for (const char* call : {"fcntl", "fcntl64"}) filter.allow(call, {is(1, command)});
  // Times of an open file; files given by a path are left out.
  for (const char* call : {"utimensat", "utimensat_time64"})
    filter.allow(call, {{1, SCMP_CMP_EQ, 0, 0}});
}

/// Permits requests that transfer data, which are those of device drivers; Landlock restricts which
/// devices. Of the other requests only a list is permitted: some of them write to terminals or send
/// signals.
void addDeviceControls(Filter& filter) {
  constexpr std::uint64_t kWrites = 1u << 30, kReads = 1u << 31;
  filter.allow("ioctl", {bits(1, kWrites, kWrites)});
  filter.allow("ioctl", {bits(1, kReads, kReads)});
  constexpr std::uint64_t kDriver = 0xffffff00;
  // Sound, control, graphics and video decoder devices.
  for (const char driver : {'A', 'U', 'd', 'V', '|'})
    filter.allow("ioctl", {bits(1, kDriver, static_cast<std::uint64_t>(driver) << 8)});
  for (const std::int64_t request : std::initializer_list<std::int64_t>{
           TCGETS, TIOCGWINSZ, TIOCOUTQ, FIOCLEX, FIONCLEX, FIONBIO, FIONREAD, SIOCGIFADDR,
           SIOCGIFCONF, SIOCGIFFLAGS, SIOCGIFINDEX, SIOCGIFNAME})
    filter.allow("ioctl", {is(1, request)});
}

void addSockets(Filter& filter, bool usesHelper) {
  constexpr std::uint64_t kTypeMask = 0xf;  // other bits of the type are flags
  for (const int family : {AF_INET, AF_INET6})
    for (const int kind : {SOCK_STREAM, SOCK_DGRAM})
      filter.allow("socket", {is(0, family), bits(1, kTypeMask, static_cast<std::uint64_t>(kind))});
  constexpr int kNetlinkRoute = 0;  // NETLINK_ROUTE
  filter.allow("socket", {is(0, AF_NETLINK), is(2, kNetlinkRoute)});
  // Datagram pairs are left out: their ends could be connected again.
  for (const int kind : {SOCK_STREAM, SOCK_SEQPACKET})
    filter.allow("socketpair",
                 {is(0, AF_UNIX), bits(1, kTypeMask, static_cast<std::uint64_t>(kind))});
  const std::uint32_t action = usesHelper ? SCMP_ACT_NOTIFY : SCMP_ACT_ALLOW;
  filter.add(action, "socket", {is(0, AF_UNIX)});
  filter.add(action, "connect");
}

/// Returns zero or a negative error number.
int load(ServiceSockets* services) {
  Filter filter;
  for (const char* name : kAllowed) filter.allow(name);
  for (const char* name : kForbidden) filter.add(SCMP_ACT_ERRNO(EPERM), name);
  addThreads(filter);
  addOwnProcess(filter);
  addDescriptors(filter);
  addDeviceControls(filter);
  addSockets(filter, services != nullptr);
  const int error = filter.load();
  if (error < 0 || !services) return error;
  const int notifications = filter.notifications();
  const bool isServed = services->serve(notifications);
  close(notifications);
  return isServed ? 0 : -EPIPE;
}

}  // namespace

SystemCallsResult restrictSystemCalls(ServiceSockets& services) {
  SystemCallsResult result;
  int error = 0;
  if (!services.isReady()) {
    result.reason = services.reason();
  } else if (error = load(&services); error == 0) {
    return {true, true, {}};
  } else {
    // EBUSY: only one listener is permitted, and another program may already be one.
    result.reason = std::string("no helper process: ") + std::strerror(-error);
  }
  error = load(nullptr);
  result.isOn = error == 0;
  if (!result.isOn) result.reason = std::strerror(-error);
  return result;
}

}  // namespace media
