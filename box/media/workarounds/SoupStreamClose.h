#pragma once

namespace box {

/// Fault: when a request is cancelled at the moment in which its answer arrives, libsoup ends the
/// request and then closes its body through the connection, which does not exist any more.
///
/// Library: libsoup 3.2.0 to 3.2.3 and 3.6.0 to 3.6.5. No upstream report known.
/// Without it: a seek or a stop at that moment ends the process with a null pointer.
/// Test: SoupStreamClose_test.cpp.
/// Delete it when the body of a finished message can be closed.
///
/// How: replaces the method close_fn of the class SoupClientInputStream, once it exists. For this
/// reason it is on for the tested versions alone.
void installSoupStreamClose();

}  // namespace box
