// A library for LD_PRELOAD that makes one system call of a program fail.
//
// Environment:
//   VORLANE_FAIL_PROGRAM  name of the program; other programs are left alone
//   VORLANE_FAIL_KIND     kind of the calls, see kKinds
//   VORLANE_FAIL_NUMBER   number of the call that fails, counted from 1 over all processes
//   VORLANE_FAIL_COUNT    file of 8 bytes that counts the calls of this kind
//
// Calls inside the C library are not counted. Allocations are left out: they end a program by
// design.

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

enum class Kind {
  None,
  Open,
  Socket,
  Connect,
  Accept,
  Read,
  Write,
  Full,
  Disk,
  Interrupt,
  Map,
  MemoryFile,
  Descriptor,
  Thread,
  Spawn,
  Clock,
};

constexpr struct {
  const char* name;
  Kind kind;
} kKinds[] = {
    {"open", Kind::Open},              // EMFILE
    {"socket", Kind::Socket},          // EMFILE
    {"connect", Kind::Connect},        // ECONNREFUSED
    {"accept", Kind::Accept},          // EMFILE
    {"read", Kind::Read},              // EIO
    {"write", Kind::Write},            // EIO
    {"full", Kind::Full},              // EAGAIN of a write that does not block
    {"disk", Kind::Disk},              // ENOSPC of a write to a file
    {"interrupt", Kind::Interrupt},    // EINTR of a call that waits
    {"map", Kind::Map},                // ENOMEM
    {"memfd", Kind::MemoryFile},       // EMFILE
    {"descriptor", Kind::Descriptor},  // EMFILE of a pipe, a socket pair, an event or a timer
    {"thread", Kind::Thread},          // EAGAIN
    {"spawn", Kind::Spawn},            // EAGAIN
    {"clock", Kind::Clock},            // the time of day is an hour later from then on
};

constexpr std::time_t kJump = 3600;

using Counter = std::atomic<std::uint64_t>;

struct {
  Kind kind = Kind::None;
  std::uint64_t number = 0;
  Counter* count = nullptr;
} plan;

template <typename Function>
Function* next(Function*& known, const char* name) {
  if (!known) known = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  return known;
}

bool fails(Kind kind, int error) {
  if (kind != plan.kind) return false;
  if (plan.count->fetch_add(1) + 1 != plan.number) return false;
  errno = error;
  return true;
}

bool isFile(int descriptor) {
  struct stat status;
  return plan.kind == Kind::Disk && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool doesNotBlock(int descriptor, int flags) {
  return plan.kind == Kind::Full &&
         ((flags & MSG_DONTWAIT) != 0 || (fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0);
}

bool writeFails(int descriptor, int flags = 0) {
  return fails(Kind::Write, EIO) || fails(Kind::Interrupt, EINTR) ||
         (doesNotBlock(descriptor, flags) && fails(Kind::Full, EAGAIN)) ||
         (isFile(descriptor) && fails(Kind::Disk, ENOSPC));
}

bool readFails() { return fails(Kind::Read, EIO) || fails(Kind::Interrupt, EINTR); }

__attribute__((constructor)) void readPlan() {
  const char* program = std::getenv("VORLANE_FAIL_PROGRAM");
  const char* kind = std::getenv("VORLANE_FAIL_KIND");
  const char* number = std::getenv("VORLANE_FAIL_NUMBER");
  const char* path = std::getenv("VORLANE_FAIL_COUNT");
  if (!program || !kind || !number || !path) return;
  if (std::strcmp(program, program_invocation_short_name) != 0) return;
  const int file = open(path, O_RDWR | O_CLOEXEC);
  if (file < 0) return;
  void* const memory = mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (memory == MAP_FAILED) return;
  plan.count = static_cast<Counter*>(memory);
  plan.number = std::strtoull(number, nullptr, 10);
  for (const auto& each : kKinds) {
    if (std::strcmp(each.name, kind) == 0) plan.kind = each.kind;
  }
}

}  // namespace

// `test` decides whether the function returns `failure`.
#define VORLANE_WRAP(result, name, parameters, arguments, test, failure) \
  extern "C" result name parameters {                                    \
    static result(*known) parameters = nullptr;                          \
    if (test) return failure;                                            \
    return next<result parameters>(known, #name) arguments;              \
  }

VORLANE_WRAP(int, socket, (int domain, int type, int protocol), (domain, type, protocol),
             fails(Kind::Socket, EMFILE), -1)
VORLANE_WRAP(int, connect, (int file, const sockaddr* address, socklen_t size),
             (file, address, size),
             fails(Kind::Connect, ECONNREFUSED) || fails(Kind::Interrupt, EINTR), -1)
VORLANE_WRAP(int, accept4, (int file, sockaddr* address, socklen_t* size, int flags),
             (file, address, size, flags),
             fails(Kind::Accept, EMFILE) || fails(Kind::Interrupt, EINTR), -1)
VORLANE_WRAP(ssize_t, read, (int file, void* bytes, size_t size), (file, bytes, size), readFails(),
             -1)
VORLANE_WRAP(ssize_t, pread64, (int file, void* bytes, size_t size, off64_t at),
             (file, bytes, size, at), readFails(), -1)
VORLANE_WRAP(ssize_t, recv, (int file, void* bytes, size_t size, int flags),
             (file, bytes, size, flags), readFails(), -1)
VORLANE_WRAP(ssize_t, recvmsg, (int file, msghdr* message, int flags), (file, message, flags),
             readFails(), -1)
VORLANE_WRAP(ssize_t, write, (int file, const void* bytes, size_t size), (file, bytes, size),
             writeFails(file), -1)
VORLANE_WRAP(ssize_t, writev, (int file, const iovec* parts, int count), (file, parts, count),
             writeFails(file), -1)
VORLANE_WRAP(ssize_t, send, (int file, const void* bytes, size_t size, int flags),
             (file, bytes, size, flags), writeFails(file, flags), -1)
VORLANE_WRAP(ssize_t, sendmsg, (int file, const msghdr* message, int flags), (file, message, flags),
             writeFails(file, flags), -1)
VORLANE_WRAP(int, poll, (pollfd * files, nfds_t count, int timeout), (files, count, timeout),
             fails(Kind::Interrupt, EINTR), -1)
VORLANE_WRAP(int, ppoll,
             (pollfd * files, nfds_t count, const timespec* timeout, const sigset_t* mask),
             (files, count, timeout, mask), fails(Kind::Interrupt, EINTR), -1)
VORLANE_WRAP(int, epoll_wait, (int file, epoll_event* events, int count, int timeout),
             (file, events, count, timeout), fails(Kind::Interrupt, EINTR), -1)
VORLANE_WRAP(void*, mmap, (void* place, size_t size, int access, int flags, int file, off_t at),
             (place, size, access, flags, file, at), fails(Kind::Map, ENOMEM), MAP_FAILED)
VORLANE_WRAP(void*, mmap64, (void* place, size_t size, int access, int flags, int file, off64_t at),
             (place, size, access, flags, file, at), fails(Kind::Map, ENOMEM), MAP_FAILED)
VORLANE_WRAP(int, memfd_create, (const char* name, unsigned flags), (name, flags),
             fails(Kind::MemoryFile, EMFILE), -1)
VORLANE_WRAP(int, ftruncate64, (int file, off64_t size), (file, size),
             fails(Kind::MemoryFile, ENOMEM), -1)
VORLANE_WRAP(int, pipe, (int* files), (files), fails(Kind::Descriptor, EMFILE), -1)
VORLANE_WRAP(int, pipe2, (int* files, int flags), (files, flags), fails(Kind::Descriptor, EMFILE),
             -1)
VORLANE_WRAP(int, socketpair, (int domain, int type, int protocol, int* files),
             (domain, type, protocol, files), fails(Kind::Descriptor, EMFILE), -1)
VORLANE_WRAP(int, eventfd, (unsigned value, int flags), (value, flags),
             fails(Kind::Descriptor, EMFILE), -1)
VORLANE_WRAP(int, timerfd_create, (int clock, int flags), (clock, flags),
             fails(Kind::Descriptor, EMFILE), -1)
VORLANE_WRAP(int, epoll_create1, (int flags), (flags), fails(Kind::Descriptor, EMFILE), -1)
VORLANE_WRAP(int, dup, (int file), (file), fails(Kind::Descriptor, EMFILE), -1)
VORLANE_WRAP(int, pthread_create,
             (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*),
              void* argument),
             (thread, attributes, start, argument), fails(Kind::Thread, EAGAIN), EAGAIN)
VORLANE_WRAP(int, posix_spawn,
             (pid_t * process, const char* path, const posix_spawn_file_actions_t* actions,
              const posix_spawnattr_t* attributes, char* const* arguments, char* const* variables),
             (process, path, actions, attributes, arguments, variables), fails(Kind::Spawn, EAGAIN),
             EAGAIN)
VORLANE_WRAP(FILE*, fopen, (const char* path, const char* mode), (path, mode),
             fails(Kind::Open, EMFILE), nullptr)
VORLANE_WRAP(FILE*, fopen64, (const char* path, const char* mode), (path, mode),
             fails(Kind::Open, EMFILE), nullptr)

// Functions with an optional mode.
#define VORLANE_WRAP_OPEN(name, parameters, arguments)   \
  extern "C" int name parameters {                       \
    static int(*known) parameters = nullptr;             \
    va_list list;                                        \
    va_start(list, flags);                               \
    const auto mode = va_arg(list, mode_t);              \
    va_end(list);                                        \
    if (fails(Kind::Open, EMFILE)) return -1;            \
    return next<int parameters>(known, #name) arguments; \
  }

VORLANE_WRAP_OPEN(open, (const char* path, int flags, ...), (path, flags, mode))
VORLANE_WRAP_OPEN(open64, (const char* path, int flags, ...), (path, flags, mode))
VORLANE_WRAP_OPEN(openat, (int folder, const char* path, int flags, ...),
                  (folder, path, flags, mode))
VORLANE_WRAP_OPEN(openat64, (int folder, const char* path, int flags, ...),
                  (folder, path, flags, mode))

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
  static int (*known)(clockid_t, timespec*) = nullptr;
  const int result = next<int(clockid_t, timespec*)>(known, "clock_gettime")(clock, time);
  if (plan.kind == Kind::Clock && clock == CLOCK_REALTIME &&
      plan.count->fetch_add(1) + 1 >= plan.number)
    time->tv_sec += kJump;
  return result;
}
