#include "platform/foundation/Assertion.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform/foundation/log/TVSLogger.h"

namespace platform {

namespace {

AssertionHandler& handler() {
  static AssertionHandler& instance = *new AssertionHandler;
  return instance;
}

bool writesLog = true;

std::string withoutEnding(std::string_view file) {
  const auto dot = file.rfind('.');
  const auto slash = file.rfind('/');
  const bool ending =
      dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash);
  return std::string(ending ? file.substr(0, dot) : file);
}

void writeToStderr(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

}  // namespace

void setAssertionHandler(AssertionHandler newHandler) { handler() = std::move(newHandler); }

void setAssertionsWriteLog(bool write) { writesLog = write; }

void assertionFailed(std::string_view operation, std::string_view file,
                     std::string_view condition) {
  const AssertionFailure failure{std::string(operation), withoutEnding(file),
                                 std::string(condition)};
  const std::string line = "Assertion failed in " + failure.operation + " (" + failure.source +
                           "): " + failure.condition;
  TVSLogError(TVSSystemLog, "%@", line);
  writeToStderr(line);
  if (handler()) handler()(failure);
  if (writesLog) {
    writeToStderr("Recent log lines:");
    TVSLogger::dumpRecentLines(
        [](const char* text, std::size_t size) { std::fwrite(text, 1, size, stderr); });
  }
  std::abort();
}

}  // namespace platform
