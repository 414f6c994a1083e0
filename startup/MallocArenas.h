#pragma once

namespace startup {

/// Limits the arenas of malloc. By default many short-lived threads each get an arena, and an arena
/// keeps freed memory. Call once, before a second thread starts.
void limitMallocArenas();

}  // namespace startup
