#pragma once

namespace box {

/// Makes the responses of the library's HTTP client bear being given up at any moment. libsoup 3.2
/// ends a request whose answer arrives at the same time as its cancellation, and then closes the
/// body of it all the same, by way of a connection that is no longer there: a seek or a stop right
/// when an answer came ended the process.
///
/// Once, before the first request. Where the library is built otherwise, nothing is changed.
void mendResponseStreams();

}  // namespace box
