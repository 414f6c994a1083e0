#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace scenarios {

/// One line of a scenario.
struct Step {
  enum class Where { Everywhere, Sim, Box };
  int line = 0;
  Where where = Where::Everywhere;
  std::string text;  ///< without the prefix "sim:" or "box:"
};

/// The contents of a scenario file. README.md describes the language.
struct Scenario {
  std::string file;  ///< for messages
  bool alsoOnBox = false;
  std::vector<Step> steps;

  /// Throws std::runtime_error if the file cannot be read or has no steps.
  static Scenario read(const std::filesystem::path& path);
};

/// Returns the paths of all scenario files, sorted. They are relative to the root of the tree,
/// where tests are run.
std::vector<std::filesystem::path> scenarioFiles();

/// Returns "pin_over_video" for ".../pin_over_video.scenario".
std::string scenarioName(const std::filesystem::path& path);

}  // namespace scenarios
