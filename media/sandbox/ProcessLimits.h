#pragma once

namespace media {

struct SandboxOptions;

/// Limits memory, file size and the number of descriptors, and raises the OOM score of this process
/// above that of its parent. Returns false and sets errno if a limit cannot be set.
bool setProcessLimits(const SandboxOptions& options);

/// Drops every capability of the calling thread, also from the bounding set. Returns false and sets
/// errno on failure.
bool dropCapabilities();

}  // namespace media
