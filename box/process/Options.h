#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "box/screen/drawing/ScreenOptions.h"
#include "box/services/door/Door.h"

namespace box {

/// `$XDG_CACHE_HOME/tvvorlane/media`, or below `~/.cache`; empty where there is neither.
std::string defaultCacheFolder();

/// The command line.
struct Options {
  enum class Action { Run, PrintHelp, PrintVersion };

  Action action = Action::Run;
  DoorOptions door;
  ScreenOptions screen;
  bool allowFileURLs = false;
  /// Empty: nothing is kept on disk.
  std::string cacheFolder = defaultCacheFolder();
  /// Commands for the shell, run when something begins to play and when nothing has for a while.
  std::string onActive;
  std::string onIdle;
  /// Of the sound server's outputs that are Vorlane speakers, as of fnmatch(3).
  std::vector<std::string> speakerPatterns;
  /// Whether media processes run in a sandbox. It allows the built-in files and folders, and these.
  bool sandbox = true;
  std::vector<std::string> sandboxReadable;
  std::vector<std::string> sandboxWritable;
  std::optional<int> logLevel;
  /// In the order given.
  std::vector<std::pair<std::string, int>> logComponents;
  /// As given, such as `pt-BR`.
  std::optional<std::string> language;
};

/// Reads `arguments`, which do not hold the program's name. Nothing, and a text for people in
/// `error`, when they cannot be understood. A request for help or version wins over everything
/// after it.
std::optional<Options> parseOptions(const std::vector<std::string_view>& arguments,
                                    std::string* error);

/// What --help prints.
std::string_view usage();

}  // namespace box
