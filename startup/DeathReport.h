#pragma once

namespace startup {

/// Installs handlers for the fatal signals SIGSEGV, SIGBUS, SIGILL, SIGFPE and SIGABRT. A failed
/// assertion raises SIGABRT. The handler writes the signal, a backtrace of the thread with function
/// names, and the recent log lines to stderr, as far as the state of the process permits. It then
/// raises the signal again with the default action, so core dump and exit status are unchanged.
///
/// `forJournal`: prefixes each line with the journal priority "critical".
///
/// Call once, on the main thread, before other threads start. A stack overflow is reported for the
/// main thread only, because other threads have no alternate signal stack.
void installDeathReport(bool forJournal);

}  // namespace startup
