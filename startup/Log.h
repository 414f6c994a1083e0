#pragma once

#include <string>
#include <string_view>

#include <sys/types.h>

#include "platform/foundation/log/TVSLogger.h"

namespace startup {

/// Writes the log to stderr. Prefixes each line with its journal priority if stderr is the journal.
/// Threads: any.
class StderrLog final : public platform::LogSink {
 public:
  StderrLog();
  void write(const platform::LogLine& line) override;

 private:
  const bool _isJournal;
};

/// Formats a log line, including the final newline.
std::string formatLogLine(const platform::LogLine& line, bool forJournal);

/// Whether stderr is the journal, according to JOURNAL_STREAM.
bool isStderrJournal();

/// Whether `variable`, the value of JOURNAL_STREAM or null, names this device and inode.
bool isJournalStream(const char* variable, dev_t device, ino_t inode);

}  // namespace startup
