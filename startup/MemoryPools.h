#pragma once

namespace startup {

/// Limits the pools (arenas) of malloc. By default each short-lived thread may get a pool of its
/// own, and a pool keeps freed memory. Once, before there is a second thread.
void limitMemoryPools();

}  // namespace startup
