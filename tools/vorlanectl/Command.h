#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "tools/vorlanectl/Arguments.h"
#include "tools/vorlanectl/Connection.h"

namespace vorlanectl {

/// One command of the command line.
struct Command {
  std::string_view name;
  std::string_view words;  ///< what stands behind the name, for the help
  std::string_view help;   ///< first line: a summary
  std::vector<Option> options;
  std::size_t minimumWords = 0;
  std::size_t maximumWords = 0;
  /// Returns the exit status.
  int (*run)(Connection& box, const Arguments& arguments) = nullptr;
};

inline constexpr std::size_t kAnyNumber = std::numeric_limits<std::size_t>::max();
inline constexpr Option kSessionOption{"--session", "N",
                                       "the session's number; the current one without"};

inline constexpr Option kParameterOption{"--param", "KEY=JSON",
                                         "any other parameter; may be repeated"};

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
std::vector<Command> boxCommands();
/// All of them, in the order of the help.
const std::vector<Command>& commands();

/// The parameters that --session and --param give.
Json sessionParameters(const Arguments& arguments);
void addParameters(Json& params, const Arguments& arguments);
/// The number of a session to start: that of --session, or one of its own.
std::uint32_t numberOfNewSession(const Arguments& arguments);
/// Starts a session by one of the start calls. Prints its number, or why there is none.
int startSession(Connection& box, const char* method, const Json& params);

/// What a status says, for people.
std::string_view meaningOfStatus(std::int32_t status);
/// The exit status for a call's status; one that is not 0 is told on stderr.
int report(std::int32_t status);
/// A value on stdout, alone on its lines.
void print(const Json& value);

/// Runs a whole command line without the program's name.
int runCommandLine(const std::vector<std::string>& words);

}  // namespace vorlanectl
