#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace media {

/// The command line of a media process. It inherits the descriptors kControlDescriptor and
/// kPictureDescriptor.
struct ProcessOptions {
  static constexpr int kControlDescriptor = 3;
  static constexpr int kPictureDescriptor = 4;

  std::string cacheFolder;  ///< empty: no disk cache
  bool allowFileURLs = false;
  std::vector<std::string> languages;  ///< BCP 47, in order of preference
  std::optional<int> logLevel;
  std::vector<std::pair<std::string, int>> logComponents;
  bool usesSandbox = true;
  /// Log the versions of libraries, the workarounds and the sandbox. They are the same for all
  /// media processes of a box.
  bool logsVersions = true;
  std::vector<std::string> readable;  ///< in addition to the sandbox's own list
  std::vector<std::string> writable;
  std::string pipelineDumpFolder;  ///< for dot files; empty: none are written
};

/// Parses the arguments that argumentsOf() makes, without the program name. On an error it returns
/// nullopt and sets `error` to a message.
std::optional<ProcessOptions> parseProcessOptions(const std::vector<std::string_view>& arguments,
                                                  std::string* error);
std::vector<std::string> argumentsOf(const ProcessOptions& options);

}  // namespace media
