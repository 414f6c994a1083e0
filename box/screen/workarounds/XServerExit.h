#pragma once

namespace box {

/// Fault: SDL leaves the error handlers of libX11 in place, which end the process when the X server
/// ends, or when it refuses a request for a window that is just being closed. With other handlers,
/// SDL waits without end for the events of a window that it closes.
///
/// Library: SDL 2 with libX11 1.7 or later. No upstream report known. Without it: the end of the X
/// server ends the box and its playback. Test: Displays_test.cpp. Delete it when SDL reports the
/// end of the X server.
///
/// After this call X errors are ignored, and the end of an X server adds SDL_QUIT to SDL's event
/// queue. The program defines XOpenDisplay() and XIfEvent(), which take precedence
/// over libX11's. Thread-safe.
void installXServerExit();

}  // namespace box
