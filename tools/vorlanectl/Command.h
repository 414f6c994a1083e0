#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vorlanectl/Arguments.h"
#include "tools/vorlanectl/Connection.h"

namespace vorlanectl {

/// A command of the command line.
struct Command {
  std::string_view name;
  std::string_view words;  ///< placeholders of the arguments for the help
  std::string_view help;   ///< the first line is the summary
  std::vector<Option> options;
  std::size_t minimumWords = 0;
  std::size_t maximumWords = 0;
  /// Returns the exit status.
  int (*run)(Connection& box, const Arguments& arguments) = nullptr;
};

inline constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();
inline constexpr Option kSessionOption{"--session", "N",
                                       "session ID; default: the current session"};

inline constexpr Option kParameterOption{"--param", "KEY=JSON",
                                         "adds a parameter; may be repeated"};

// Exit statuses.
inline constexpr int kSuccess = 0;
inline constexpr int kFailure = 1;
inline constexpr int kUsage = 2;
inline constexpr int kNoBox = 3;

std::vector<Command> videoCommands();
std::vector<Command> propertyCommands();
std::vector<Command> eventCommands();
std::vector<Command> infoCommands();
std::vector<Command> audioCommands();
std::vector<Command> mirrorCommands();
std::vector<Command> traceCommands();
std::vector<Command> boxCommands();
/// All commands, in the order of the help.
const std::vector<Command>& commands();

/// Parameters from the options --session and --param.
Json sessionParameters(const Arguments& arguments);
void addParameters(Json& params, const Arguments& arguments);
/// The ID for a new session: the value of --session, or a generated one.
std::uint32_t newSessionID(const Arguments& arguments);
/// Starts a session with the start call `method`. Prints its ID or the error.
int startSession(Connection& box, const char* method, const Json& params);

/// The seconds that `option` gives, or nothing without the option. Throws UsageError.
std::optional<std::chrono::milliseconds> durationOption(const Arguments& arguments,
                                                        std::string_view option);
/// The name of a kind of event in the output.
std::string_view kindName(Event::Kind kind);

/// A description of a status code.
std::string_view statusDescription(std::int32_t status);
/// Returns the exit status for a call's status. Prints a status other than 0 to stderr.
int report(std::int32_t status);
/// Prints a value to stdout.
void print(const Json& value);

/// Runs a command line, without the program name.
int runCommandLine(const std::vector<std::string>& words);

}  // namespace vorlanectl
