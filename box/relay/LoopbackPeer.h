#pragma once

namespace box {

/// Whether the other end of a connection over the loopback address (IPv4) is a socket of this very
/// process: the kernel's table of connections names the owner and the inode, and the process's own
/// descriptors the inodes that it holds.
///
/// Reads all of both; meant to be asked once a connection. Threads: any.
bool isPeerOfThisProcess(int descriptor);

}  // namespace box
