#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace media {

/// How the box starts a media process. The descriptors are those of kControlDescriptor and
/// kPictureDescriptor.
struct ProcessOptions {
  static constexpr int kControlDescriptor = 3;
  static constexpr int kPictureDescriptor = 4;

  std::string cacheFolder;  ///< empty: nothing is kept on disk
  bool allowFileURLs = false;
  std::vector<std::string> languages;  ///< BCP 47, the best first
  std::optional<int> logLevel;
  std::vector<std::pair<std::string, int>> logComponents;
  bool usesSandbox = true;
  /// Whether the process logs what it is made of: the library, its workarounds, the sandbox. The
  /// others of a box are the same.
  bool introduces = true;
  std::vector<std::string> readable;  ///< beyond what the sandbox allows by itself
  std::vector<std::string> writable;
};

/// The arguments without the program's name, as argumentsOf() makes them. Nothing, and a text for
/// people in `error`, when they cannot be understood.
std::optional<ProcessOptions> parseProcessOptions(const std::vector<std::string_view>& arguments,
                                                  std::string* error);
std::vector<std::string> argumentsOf(const ProcessOptions& options);

}  // namespace media
