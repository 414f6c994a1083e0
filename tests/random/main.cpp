// Runs random sessions on the box in memory, or repeats one from a file.

#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <optional>
#include <string>

#include "sim/AssertionsThrow.h"
#include "tests/random/RandomSession.h"
#include "tests/random/RandomSteps.h"
#include "tests/scenarios/Scenario.h"

namespace {

using random_sessions::Result;
using random_sessions::Steps;

constexpr const char* kUsage =
    "usage: vorlane-random [--seed N] [--sessions N] [--calls N] [--folder FOLDER]\n"
    "       vorlane-random --replay FILE\n"
    "       vorlane-random --steps SEED [--calls N]\n"
    "\n"
    "Runs random sessions with the seeds N, N+1, ... on a box in memory and checks rules after\n"
    "each call. A session that breaks a rule is made shorter and written to\n"
    "FOLDER/random-SEED.scenario; --replay runs such a file. --steps prints the steps of a seed.\n"
    "Exits with status 1 if a rule was broken.\n";

constexpr int kMostFailures = 10;

struct Options {
  std::uint64_t seed = 1;
  std::uint64_t sessions = 1000;
  std::uint64_t calls = 100;
  std::string folder = ".";
  std::string replay;
  std::optional<std::uint64_t> steps;
};

std::optional<std::uint64_t> number(const char* text) {
  std::uint64_t value = 0;
  const char* const end = text + std::strlen(text);
  const auto read = std::from_chars(text, end, value);
  return read.ec == std::errc() && read.ptr == end ? std::optional(value) : std::nullopt;
}

std::optional<Options> readOptions(int count, char** words) {
  Options options;
  for (int index = 1; index + 1 < count; index += 2) {
    const std::string name = words[index];
    const char* const text = words[index + 1];
    if (name == "--replay" || name == "--folder") {
      (name == "--replay" ? options.replay : options.folder) = text;
      continue;
    }
    const auto value = number(text);
    if (!value) return std::nullopt;
    if (name == "--seed") {
      options.seed = *value;
    } else if (name == "--sessions") {
      options.sessions = *value;
    } else if (name == "--calls") {
      options.calls = *value;
    } else if (name == "--steps") {
      options.steps = *value;
    } else {
      return std::nullopt;
    }
  }
  return count % 2 == 1 ? std::optional(options) : std::nullopt;
}

/// The rule without the step at which it was broken.
std::string ruleOf(const Result& result) { return result.fault.substr(0, result.fault.find('\n')); }

void report(const Options& options, std::uint64_t seed, const Steps& steps, const Result& result) {
  std::printf("seed %llu: %s\n", static_cast<unsigned long long>(seed), result.fault.c_str());
  const auto rule = ruleOf(result);
  const auto shorter = random_sessions::shortened(
      steps, [&](const Steps& rest) { return ruleOf(random_sessions::runSteps(rest)) == rule; });
  const std::string path = options.folder + "/random-" + std::to_string(seed) + ".scenario";
  std::ofstream file(path);
  file << "# vorlane-random --seed " << seed << " --sessions 1 --calls " << options.calls << "\n# "
       << rule << '\n';
  for (const auto& step : shorter) file << step << '\n';
  std::printf("  %zu of %zu steps remain in %s\n", shorter.size(), steps.size(), path.c_str());
  std::fflush(stdout);
}

int runRandom(const Options& options) {
  const auto start = std::chrono::steady_clock::now();
  std::map<std::string, std::size_t> events;
  int failures = 0;
  std::uint64_t index = 0;
  for (; index < options.sessions && failures < kMostFailures; ++index) {
    const auto seed = options.seed + index;
    const auto steps = random_sessions::randomSteps(seed, options.calls);
    const auto result = random_sessions::runSteps(steps);
    for (const auto& [name, count] : result.events) events[name] += count;
    if (result.fault.empty()) continue;
    ++failures;
    report(options, seed, steps, result);
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  std::printf("%llu sessions of %llu calls in %.1f s, %d of them failed\n",
              static_cast<unsigned long long>(index),
              static_cast<unsigned long long>(options.calls), elapsed.count(), failures);
  for (const auto& [name, count] : events) std::printf("  %-26s %zu\n", name.c_str(), count);
  return failures == 0 ? 0 : 1;
}

int replay(const std::string& path) {
  Steps steps;
  for (const auto& step : scenarios::Scenario::read(path).steps) steps.push_back(step.text);
  const auto result = random_sessions::runSteps(steps);
  std::printf("%s\n", result.fault.empty() ? "all rules were kept" : result.fault.c_str());
  return result.fault.empty() ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
  const auto options = readOptions(count, words);
  if (!options) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  if (options->steps) {
    for (const auto& step : random_sessions::randomSteps(*options->steps, options->calls))
      std::puts(step.c_str());
    return 0;
  }
  const sim::AssertionsThrow assertionsThrow;
  try {
    return options->replay.empty() ? runRandom(*options) : replay(options->replay);
  } catch (const std::exception& exception) {
    std::fprintf(stderr, "vorlane-random: %s\n", exception.what());
    return 2;
  }
}
