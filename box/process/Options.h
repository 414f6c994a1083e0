#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "box/screen/drawing/ScreenOptions.h"
#include "box/services/dbus/DBusServer.h"

namespace box {

/// `$XDG_CACHE_HOME/tvvorlane/media`, else `~/.cache/tvvorlane/media`. Empty if neither variable
/// holds an absolute path.
std::string defaultCacheFolder();

struct Options {
  enum class Action { Run, PrintHelp, PrintVersion };

  Action action = Action::Run;
  DBusServerOptions server;
  ScreenOptions screen;
  bool allowFileURLs = false;
  /// Empty: no disk cache.
  std::string cacheFolder = defaultCacheFolder();
  /// Shell commands, run when playback begins and when it has been idle for a while.
  std::string onActive;
  std::string onIdle;
  /// fnmatch(3) patterns for names of sound server sinks that are Vorlane speakers.
  std::vector<std::string> speakerPatterns;
  /// Whether media processes run in a sandbox. The paths below are allowed in addition to the
  /// built-in ones.
  bool sandbox = true;
  std::vector<std::string> sandboxReadable;
  std::vector<std::string> sandboxWritable;
  /// Media processes write dot files of their pipelines there. Empty: they write none.
  std::string pipelineDumpFolder;
  std::optional<int> logLevel;
  std::vector<std::pair<std::string, int>> logComponents;
  /// The tag as given, such as `pt-BR`.
  std::optional<std::string> language;
};

/// Parses `arguments` (without argv[0]). On failure returns nothing and writes a message to
/// `error`. Arguments after --help or --version are ignored.
std::optional<Options> parseOptions(const std::vector<std::string_view>& arguments,
                                    std::string* error);

std::string_view usage();

}  // namespace box
