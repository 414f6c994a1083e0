#pragma once

namespace box {

/// Once, before there is a second thread: few pools of the allocator. By default each of the many
/// short-lived threads of a process gets a pool of its own, and each keeps what it once held.
void limitMemoryPools();

}  // namespace box
