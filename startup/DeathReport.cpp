#include "startup/DeathReport.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <string_view>

#include <execinfo.h>
#include <unistd.h>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/log/TVSLogger.h"

namespace startup {

namespace {

// Code that runs in the signal handler calls only async-signal-safe functions. backtrace() does not
// allocate after its first call.

struct Fatal {
  int signal;
  const char* name;
};
constexpr Fatal kFatal[] = {{SIGSEGV, "SIGSEGV"},
                            {SIGBUS, "SIGBUS"},
                            {SIGILL, "SIGILL"},
                            {SIGFPE, "SIGFPE"},
                            {SIGABRT, "SIGABRT"}};
constexpr int kFrames = 64;
constexpr std::size_t kAlternateStack = std::size_t{64} * 1024;

bool journal = false;
std::atomic<bool> reported = false;
std::array<char, kAlternateStack> alternateStack;

void put(const char* text, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(STDERR_FILENO, text, size);
    if (written <= 0) return;
    text += written;
    size -= static_cast<std::size_t>(written);
  }
}

/// Writes each line with a single write(), so that lines of other threads do not interleave.
/// Prefixes lines with the journal priority if needed.
void writeLines(const char* text, std::size_t size) {
  static std::array<char, 4096> line;
  static std::size_t used = 0;
  constexpr std::string_view kPriority = "<2>";
  for (; size > 0; ++text, --size) {
    if (used == 0 && journal) {
      std::memcpy(line.data(), kPriority.data(), kPriority.size());
      used = kPriority.size();
    }
    line[used++] = *text;
    if (*text != '\n' && used < line.size()) continue;
    put(line.data(), used);
    used = 0;
  }
}

void writeLines(const char* text) { writeLines(text, std::strlen(text)); }

void report(int signal) {
  const char* name = "a signal";
  for (const Fatal& fatal : kFatal)
    if (fatal.signal == signal) name = fatal.name;
  writeLines("Fatal signal: ");
  writeLines(name);
  writeLines(". Recent log lines:\n");
  TVSLogger::dumpRecentLines(writeLines);
  writeLines("Backtrace:\n");
  void* frames[kFrames];
  backtrace_symbols_fd(frames, backtrace(frames, kFrames), STDERR_FILENO);
}

extern "C" void handleFatalSignal(int signal) {
  // Only the first report is written, even if the report itself faults.
  if (!reported.exchange(true)) report(signal);
  // The default action is restored by SA_RESETHAND.
  raise(signal);
}

}  // namespace

void installDeathReport(bool forJournal) {
  journal = forJournal;
  // Loads the library that the unwinder needs.
  void* frame = nullptr;
  backtrace(&frame, 1);

  stack_t stack{};
  stack.ss_sp = alternateStack.data();
  stack.ss_size = alternateStack.size();
  sigaltstack(&stack, nullptr);

  struct sigaction action {};
  action.sa_handler = handleFatalSignal;
  action.sa_flags = static_cast<int>(SA_ONSTACK | SA_RESETHAND);
  sigfillset(&action.sa_mask);
  for (const Fatal& fatal : kFatal) {
    // A second fatal signal in the handler ends the process at once.
    sigdelset(&action.sa_mask, fatal.signal);
  }
  for (const Fatal& fatal : kFatal) sigaction(fatal.signal, &action, nullptr);
  platform::setAssertionsWriteLog(false);
}

}  // namespace startup
