#pragma once

namespace startup {

/// Makes the process say how it dies: when a signal ends it that means a fault of the program
/// (SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, and with the last a failed assertion), the signal,
/// the call stack of the thread with the names of its functions, and the recent log lines are
/// written to stderr, as far as the state that the process is in allows it. The signal then does
/// what it would have done: the core file, the exit status and the supervisor see no difference.
///
/// `forJournal`: each line gets the priority "critical" for the journal.
///
/// Once, on the main thread, before others are started. A stack that has run over is reported for
/// that thread only: others have no second one.
void installDeathReport(bool forJournal);

}  // namespace startup
