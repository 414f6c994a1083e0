#pragma once

namespace media {

struct SandboxOptions;

/// Limits memory, the size of files and the number of descriptors, and makes this process an
/// earlier victim than the one that started it when memory runs out. False, with errno, where a
/// limit cannot be set.
bool setBounds(const SandboxOptions& options);

/// Gives up every capability of the calling thread, for itself and for what it might execute.
/// False, with errno, on failure.
bool dropCapabilities();

}  // namespace media
