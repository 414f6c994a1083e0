#pragma once

namespace box {

/// Once, before there is a second thread: few pools of the allocator. By default each of the many
/// short-lived threads of a pipeline gets a pool of its own, and each keeps what it once held.
void limitMemoryPools();

/// Gives back what an idle process holds but does not need: free memory inside the allocator, and
/// pages of programs and libraries that were read once, most of them by the loader. Those stay in
/// the kernel's cache and come back without reading a disk when something touches them.
///
/// Any thread, while others run; takes some milliseconds, so not on the main thread.
void releaseUnusedMemory();

}  // namespace box
