#include "media/link/ProcessOptions.h"

#include <charconv>

namespace media {
namespace {

constexpr int kHighestLogLevel = 7;

std::optional<int> logLevelOf(std::string_view text) {
  int level = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), level);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  if (level < 0 || level > kHighestLogLevel) return std::nullopt;
  return level;
}

bool readLogComponent(std::string_view text, ProcessOptions& options) {
  const auto equals = text.rfind('=');
  if (equals == std::string_view::npos || equals == 0) return false;
  const auto level = logLevelOf(text.substr(equals + 1));
  if (level) options.logComponents.emplace_back(text.substr(0, equals), *level);
  return level.has_value();
}

bool readOption(std::string_view name, std::string_view value, ProcessOptions& options) {
  if (name == "--cache") {
    options.cacheFolder = value;
  } else if (name == "--allow-file-urls") {
    options.allowFileURLs = true;
  } else if (name == "--language") {
    options.languages.emplace_back(value);
  } else if (name == "--log-level") {
    options.logLevel = logLevelOf(value);
    return options.logLevel.has_value();
  } else if (name == "--log-component") {
    return readLogComponent(value, options);
  } else if (name == "--no-sandbox") {
    options.usesSandbox = false;
  } else if (name == "--no-version-log") {
    options.logsVersions = false;
  } else if (name == "--sandbox-read") {
    options.readable.emplace_back(value);
  } else if (name == "--sandbox-write") {
    options.writable.emplace_back(value);
  } else if (name == "--dump-pipeline") {
    options.pipelineDumpFolder = value;
  } else {
    return false;
  }
  return true;
}

}  // namespace

std::optional<ProcessOptions> parseProcessOptions(const std::vector<std::string_view>& arguments,
                                                  std::string* error) {
  ProcessOptions options;
  for (const std::string_view argument : arguments) {
    const auto equals = argument.find('=');
    const std::string_view value =
        equals == std::string_view::npos ? "" : argument.substr(equals + 1);
    if (readOption(argument.substr(0, equals), value, options)) continue;
    if (error) *error = "\"" + std::string(argument) + "\" is not understood";
    return std::nullopt;
  }
  return options;
}

std::vector<std::string> argumentsOf(const ProcessOptions& options) {
  std::vector<std::string> arguments;
  const auto add = [&](std::string_view name, const std::string& value) {
    arguments.push_back(std::string(name) + "=" + value);
  };
  if (!options.cacheFolder.empty()) add("--cache", options.cacheFolder);
  if (options.allowFileURLs) arguments.emplace_back("--allow-file-urls");
  for (const std::string& each : options.languages) add("--language", each);
  if (options.logLevel) add("--log-level", std::to_string(*options.logLevel));
  for (const auto& [component, level] : options.logComponents)
    add("--log-component", component + "=" + std::to_string(level));
  if (!options.usesSandbox) arguments.emplace_back("--no-sandbox");
  if (!options.logsVersions) arguments.emplace_back("--no-version-log");
  for (const std::string& each : options.readable) add("--sandbox-read", each);
  for (const std::string& each : options.writable) add("--sandbox-write", each);
  if (!options.pipelineDumpFolder.empty()) add("--dump-pipeline", options.pipelineDumpFolder);
  return arguments;
}

}  // namespace media
