#pragma once

namespace box {

/// Makes the sessions of the library's HTTP source give back all they hold. GStreamer 1.22 leaves
/// out the last step of their end, so that each play leaves two small blocks behind, wherever the
/// heap had room while everything was loaded, and with them the pages they lie on.
///
/// Does nothing where the library does it right, nor before its first source has started: to be
/// called while a pipeline that has started is still there. Any thread, any number of times.
void mendSourceSessions();

}  // namespace box
