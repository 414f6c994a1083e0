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
  std::string text;  ///< without the prefix that says where
};

/// A scenario file, read. README.md beside this file describes the language.
struct Scenario {
  std::string file;  ///< as it is named in messages
  bool alsoOnBox = false;
  std::vector<Step> steps;

  /// Throws std::runtime_error when there is no such file, or nothing in it.
  static Scenario read(const std::filesystem::path& path);
};

/// The scenario files of the tree, by name; relative to its root, where tests are run.
std::vector<std::filesystem::path> scenarioFiles();

/// "pin_over_video" of ".../pin_over_video.scenario".
std::string scenarioName(const std::filesystem::path& path);

}  // namespace scenarios
