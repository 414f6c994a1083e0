#pragma once

namespace bench {

/// Presses a button `count` times while a film of 60 pictures a second plays, and prints how long
/// it takes until what it changes is presented, in refreshes of a display of 60 Hz. With a display,
/// a press is a key in the window's queue of events; without one there are no keys, and it is the
/// call that a key ends in. False when there is no screen.
bool timePresses(int count);

}  // namespace bench
