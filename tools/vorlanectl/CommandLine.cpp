#include <algorithm>
#include <cstdio>
#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

constexpr const char* kVersion = "0.1.0";

int width(std::string_view text) { return static_cast<int>(text.size()); }

void printHelp(std::FILE* output) {
  std::fputs(
      "usage: vorlanectl [--socket PATH] COMMAND [ARGUMENT...]\n\n"
      "Controls a running box, and simulates a sender.\n\n",
      output);
  for (const Command& command : commands()) {
    const std::string synopsis = std::string(command.name) + " " + std::string(command.words);
    const std::string_view summary = command.help.substr(0, command.help.find('\n'));
    std::fprintf(output, "  %-24s %.*s\n", synopsis.c_str(), width(summary), summary.data());
  }
  std::fputs(
      "\n  --socket PATH            socket of the box; default: the box of this user\n"
      "  --help, --version        COMMAND --help describes a command\n\n"
      "Values are JSON. Data: {\"$data\": base64}, dates: {\"$date\": "
      "\"2026-11-24T21:12:20Z\"}.\n"
      "Exit status: 0 success, 1 the call failed, 2 invalid command line, 3 no box.\n",
      output);
}

void printHelp(const Command& command) {
  const std::size_t end = command.help.find('\n');
  const std::string_view summary = command.help.substr(0, end);
  std::printf("usage: vorlanectl %.*s%s%.*s%s\n\nThis command %.*s.\n", width(command.name),
              command.name.data(), command.words.empty() ? "" : " ", width(command.words),
              command.words.data(), command.options.empty() ? "" : " [OPTION...]", width(summary),
              summary.data());
  if (end != std::string_view::npos) {
    const std::string_view rest = command.help.substr(end + 1);
    std::printf("%.*s\n", width(rest), rest.data());
  }
  if (!command.options.empty()) std::printf("\n");
  for (const Option& option : command.options) {
    const std::string synopsis = std::string(option.name) + " " + std::string(option.value);
    std::printf("  %-20s %.*s\n", synopsis.c_str(), width(option.help), option.help.data());
  }
}

int runCommand(const Command& command, const std::string& socketPath,
               const std::vector<std::string>& words) {
  if (std::find(words.begin(), words.end(), "--help") != words.end()) {
    printHelp(command);
    return kSuccess;
  }
  std::vector<Option> options = command.options;
  options.push_back({"--socket", "PATH", ""});
  const Arguments arguments(options, words);
  const std::size_t count = arguments.words().size();
  if (count < command.minimumWords || count > command.maximumWords) {
    throw UsageError("usage: vorlanectl " + std::string(command.name) + " " +
                     std::string(command.words));
  }
  Connection box(arguments.text("--socket").value_or(socketPath));
  return command.run(box, arguments);
}

const Command& commandNamed(const std::string& name) {
  for (const Command& command : commands())
    if (command.name == name) return command;
  throw UsageError("there is no command " + name);
}

int run(const std::vector<std::string>& words) {
  std::string socketPath = Connection::defaultSocketPath();
  for (std::size_t index = 0; index < words.size(); ++index) {
    const std::string& word = words[index];
    if (word == "--help" || word == "-h" || word == "help") {
      printHelp(stdout);
      return kSuccess;
    }
    if (word == "--version") {
      std::printf("vorlanectl %s\n", kVersion);
      return kSuccess;
    }
    if (word.starts_with("--socket=")) {
      socketPath = word.substr(9);
    } else if (word == "--socket") {
      if (++index == words.size()) throw UsageError("--socket needs a value");
      socketPath = words[index];
    } else if (word.starts_with("-")) {
      throw UsageError("there is no option " + word);
    } else {
      return runCommand(commandNamed(word), socketPath,
                        {words.begin() + static_cast<std::ptrdiff_t>(index) + 1, words.end()});
    }
  }
  printHelp(stderr);
  return kUsage;
}

int fail(int status, const char* text) {
  std::fprintf(stderr, "vorlanectl: %s\n", text);
  return status;
}

}  // namespace

const std::vector<Command>& commands() {
  static const std::vector<Command> all = [] {
    std::vector<Command> result;
    for (const auto& group : {videoCommands(), propertyCommands(), infoCommands(), audioCommands(),
                              mirrorCommands(), eventCommands(), traceCommands(), boxCommands()}) {
      result.insert(result.end(), group.begin(), group.end());
    }
    return result;
  }();
  return all;
}

int runCommandLine(const std::vector<std::string>& words) {
  try {
    return run(words);
  } catch (const UsageError& error) {
    return fail(kUsage, error.what());
  } catch (const CodingError& error) {
    return fail(kUsage, error.what());
  } catch (const ConnectionError& error) {
    return fail(kNoBox, error.what());
  } catch (const CallError& error) {
    return fail(kFailure, error.what());
  }
}

}  // namespace vorlanectl
