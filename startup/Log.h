#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

#include "platform/foundation/log/TVSLogger.h"

namespace startup {

/// Writes the log to stderr: plain, or with the journal's priority in front of each line of text
/// when stderr is the journal. Threads: any.
class StderrLog final : public platform::LogSink {
 public:
  StderrLog();
  void write(const platform::LogLine& line) override;

 private:
  const bool _isJournal;
};

/// One log line as it is written, with the newline behind it.
std::string logText(const platform::LogLine& line, bool forJournal);

/// Whether stderr is the journal, by the environment.
bool isStderrJournal();

/// Whether `variable`, the value of JOURNAL_STREAM or null, names the file with this device and
/// inode.
bool namesJournalStream(const char* variable, dev_t device, ino_t inode);

}  // namespace startup
