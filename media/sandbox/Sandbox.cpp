#include "media/sandbox/Sandbox.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/prctl.h>
#include <sys/stat.h>

#include "media/sandbox/AllowedFiles.h"
#include "media/sandbox/FileRules.h"
#include "media/sandbox/ProcessLimits.h"
#include "media/sandbox/ServiceSockets.h"
#include "media/sandbox/SystemCalls.h"

namespace media {
namespace {

namespace fs = std::filesystem;

/// Landlock rules need an existing folder. chmod() is not available in the sandbox.
void makeCacheFolder(const std::string& folder) {
  if (folder.empty()) return;
  std::error_code ignored;
  fs::create_directories(folder, ignored);
  chmod(folder.c_str(), 0700);
}

std::size_t countThreads() {
  std::error_code error;
  std::size_t count = 0;
  for (fs::directory_iterator each("/proc/self/task", error), end; !error && each != end;
       each.increment(error))
    ++count;
  return count;
}

class ReportText {
 public:
  void add(std::string_view what, bool isOn, std::string_view why) {
    std::string& list = isOn ? _on : _off;
    if (!list.empty()) list += ", ";
    list += what;
    if (!isOn && !why.empty()) list.append(" (").append(why).append(")");
  }
  void remark(const std::string& remark) { _remarks += "; " + remark; }
  std::string text() const {
    return "Sandbox: limits " + (_on.empty() ? "nothing" : _on) +
           (_off.empty() ? "" : "; does not limit " + _off) + _remarks;
  }

 private:
  std::string _on, _off, _remarks;
};

}  // namespace

Sandbox::Sandbox(SandboxOptions options)
    : _options(std::move(options)),
      _allowed(new AllowedFiles(allowedFiles(_options))),
      _services(new ServiceSockets(_allowed->sockets)) {}

Sandbox::~Sandbox() = default;

SandboxReport Sandbox::enter() {
  SandboxReport report;
  ReportText text;
  makeCacheFolder(_options.cacheFolder);
  const std::size_t threads = countThreads();

  report.noNewPrivileges = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
  text.add("new privileges", report.noNewPrivileges, std::strerror(errno));
  report.limits = setProcessLimits(_options);
  text.add("memory and descriptors", report.limits, std::strerror(errno));
  report.capabilities = dropCapabilities();
  text.add("capabilities", report.capabilities, std::strerror(errno));
  const FileRulesResult files = restrictFiles(_allowed->rules);
  report.landlock = files.version > 0;
  text.add(report.landlock ? "files (Landlock " + std::to_string(files.version) + ")" : "files",
           report.landlock, files.reason);
  const SystemCallsResult calls = restrictSystemCalls(*_services);
  report.seccomp = calls.isOn;
  text.add("system calls", calls.isOn, calls.reason);
  report.sockets = calls.socketsAreServed;
  text.add("local sockets", report.sockets, calls.reason);

  if (threads > 1) text.remark(std::to_string(threads - 1) + " threads keep their access to files");
  report.text = text.text();
  return report;
}

}  // namespace media
