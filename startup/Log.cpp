#include "startup/Log.h"

#include <cerrno>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace startup {

bool isStderrJournal() {
  struct stat status {};
  if (fstat(STDERR_FILENO, &status) != 0) return false;
  return isJournalStream(std::getenv("JOURNAL_STREAM"), status.st_dev, status.st_ino);
}

bool isJournalStream(const char* variable, dev_t device, ino_t inode) {
  return variable && variable == std::to_string(device) + ":" + std::to_string(inode);
}

std::string formatLogLine(const platform::LogLine& line, bool forJournal) {
  if (!forJournal) return line.text + "\n";
  const std::string priority = "<" + std::to_string(static_cast<int>(line.level)) + ">";
  std::string text;
  std::string_view rest = line.text;
  for (;;) {
    const auto end = rest.find('\n');
    text.append(priority).append(rest.substr(0, end)).append("\n");
    if (end == std::string_view::npos) return text;
    rest.remove_prefix(end + 1);
  }
}

StderrLog::StderrLog() : _isJournal(isStderrJournal()) {}

void StderrLog::write(const platform::LogLine& line) {
  const std::string text = formatLogLine(line, _isJournal);
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return;  // cannot be reported
    }
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace startup
