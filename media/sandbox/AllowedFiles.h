#pragma once

#include <string>
#include <vector>

#include "media/sandbox/FileRules.h"

namespace media {

struct SandboxOptions;

struct AllowedFiles {
  std::vector<FileRule> rules;
  /// Unix sockets of services. A folder includes everything below it.
  std::vector<std::string> sockets;
};

/// Returns what is needed to play media, by the options, the environment and the user id.
AllowedFiles allowedFiles(const SandboxOptions& options);

}  // namespace media
