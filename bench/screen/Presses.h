#pragma once

namespace bench {

/// Presses a button `count` times during playback at 60 frames per second, and prints the time
/// until the changed scene is presented, in refreshes of a 60 Hz display. With a display a press is
/// an SDL key event. The dummy driver has no keyboard, so the input handler is called directly.
/// Returns false if there is no screen.
bool timePresses(int count);

}  // namespace bench
