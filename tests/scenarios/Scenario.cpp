#include "tests/scenarios/Scenario.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace scenarios {

namespace {

constexpr const char* kFolder = "tests/scenarios";
constexpr std::string_view kAlsoOnBox = "# also: box";
constexpr std::string_view kSpace = " \t\r";

bool takePrefix(std::string& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.erase(0, std::min(text.find_first_not_of(kSpace, prefix.size()), text.size()));
  return true;
}

}  // namespace

Scenario Scenario::read(const std::filesystem::path& path) {
  std::ifstream input(path);
  if (!input) throw std::runtime_error("cannot read " + path.string());
  Scenario scenario;
  scenario.file = path.string();
  int number = 0;
  for (std::string text; std::getline(input, text);) {
    ++number;
    text.erase(0, std::min(text.find_first_not_of(kSpace), text.size()));
    text.erase(text.find_last_not_of(kSpace) + 1);
    if (text == kAlsoOnBox) scenario.alsoOnBox = true;
    if (text.empty() || text.starts_with('#')) continue;
    Step step{number, Step::Where::Everywhere, {}};
    if (takePrefix(text, "sim:")) step.where = Step::Where::Sim;
    if (takePrefix(text, "box:")) step.where = Step::Where::Box;
    step.text = text;
    scenario.steps.push_back(step);
  }
  if (scenario.steps.empty()) throw std::runtime_error("no steps in " + path.string());
  return scenario;
}

std::vector<std::filesystem::path> scenarioFiles() {
  std::vector<std::filesystem::path> files;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder, none)) {
    if (entry.path().extension() == ".scenario") files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::string scenarioName(const std::filesystem::path& path) { return path.stem().string(); }

}  // namespace scenarios
