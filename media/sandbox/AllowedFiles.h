#pragma once

#include <string>
#include <vector>

#include "media/sandbox/FileRules.h"

namespace media {

struct SandboxOptions;

struct AllowedFiles {
  std::vector<FileRule> rules;
  /// Unix sockets of the services that may be connected to; a folder stands for all below it.
  std::vector<std::string> sockets;
};

/// What playing media needs of the file system, from the options, the environment and the user id.
AllowedFiles allowedFiles(const SandboxOptions& options);

}  // namespace media
