#include "box/process/Options.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <functional>

#include "box/screen/drawing/Theme.h"

namespace box {

namespace {

constexpr int kDefaultComponentLevel = 5;
constexpr int kMaxLevel = 7;
constexpr int kMinSide = 64;
constexpr int kMaxSide = 16384;

std::optional<int> wholeNumber(std::string_view text, int smallest, int largest) {
  int number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = failure == std::errc() && end == text.data() + text.size();
  if (!whole || number < smallest || number > largest) return std::nullopt;
  return number;
}

bool readBus(std::string_view text, Options& options) {
  using Bus = DBusServerOptions::Bus;
  if (text == "none") {
    options.server.bus = Bus::None;
  } else if (text == "session") {
    options.server.bus = Bus::Session;
  } else if (text == "system") {
    options.server.bus = Bus::System;
  } else {
    return false;
  }
  return true;
}

bool readSize(std::string_view text, Options& options) {
  const auto cross = text.find('x');
  if (cross == std::string_view::npos) return false;
  const auto width = wholeNumber(text.substr(0, cross), kMinSide, kMaxSide);
  const auto height = wholeNumber(text.substr(cross + 1), kMinSide, kMaxSide);
  if (!width || !height) return false;
  options.screen.fullscreen = false;
  options.screen.windowedSize =
      platform::Size{static_cast<double>(*width), static_cast<double>(*height)};
  return true;
}

bool readLogLevel(std::string_view text, Options& options) {
  options.logLevel = wholeNumber(text, 0, kMaxLevel);
  return options.logLevel.has_value();
}

bool readLogComponent(std::string_view text, Options& options) {
  const auto equals = text.find('=');
  const auto level = equals == std::string_view::npos
                         ? kDefaultComponentLevel
                         : wholeNumber(text.substr(equals + 1), 0, kMaxLevel);
  const std::string_view name = text.substr(0, equals);
  if (!level || name.empty()) return false;
  options.logComponents.emplace_back(name, *level);
  return true;
}

bool readPath(std::string_view text, Options& options) {
  options.server.socketPath = text;
  return !text.empty();
}

bool readCacheFolder(std::string_view text, Options& options) {
  options.cacheFolder = text;
  return true;
}

template <std::string Options::*command>
bool readCommand(std::string_view text, Options& options) {
  options.*command = text;
  return true;
}

bool readLanguage(std::string_view text, Options& options) {
  options.language = std::string(text);
  return !text.empty();
}

bool readSpeaker(std::string_view text, Options& options) {
  options.speakerPatterns.emplace_back(text);
  return !text.empty();
}

template <std::vector<std::string> Options::*paths>
bool readSandboxPath(std::string_view text, Options& options) {
  (options.*paths).emplace_back(text);
  return text.starts_with('/');
}

bool readDumpFolder(std::string_view text, Options& options) {
  if (text.empty()) return false;
  options.pipelineDumpFolder = std::filesystem::absolute(text).string();
  return true;
}

bool readTextSize(std::string_view text, Options& options) {
  double& size = options.screen.access.textSize;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), size);
  return failure == std::errc() && end == text.data() + text.size() &&
         size >= theme::kMinTextSize && size <= theme::kMaxTextSize;
}

struct Option {
  std::string_view name;
  bool takesValue;
  bool (*read)(std::string_view value, Options& options);
};

constexpr Option kOptions[] = {
    {"--socket", true, readPath},
    {"--bus", true, readBus},
    {"--windowed", true, readSize},
    {"--log-level", true, readLogLevel},
    {"--log-component", true, readLogComponent},
    {"--language", true, readLanguage},
    {"--cache", true, readCacheFolder},
    {"--on-active", true, readCommand<&Options::onActive>},
    {"--on-idle", true, readCommand<&Options::onIdle>},
    {"--speaker", true, readSpeaker},
    {"--text-size", true, readTextSize},
    {"--sandbox-read", true, readSandboxPath<&Options::sandboxReadable>},
    {"--sandbox-write", true, readSandboxPath<&Options::sandboxWritable>},
    {"--dump-pipeline", true, readDumpFolder},
    {"--no-sandbox", false,
     [](std::string_view, Options& options) {
       options.sandbox = false;
       return true;
     }},
    {"--reduced-motion", false,
     [](std::string_view, Options& options) { return options.screen.access.reducedMotion = true; }},
    {"--allow-file-urls", false,
     [](std::string_view, Options& options) { return options.allowFileURLs = true; }},
    {"--fullscreen", false,
     [](std::string_view, Options& options) {
       options.screen.windowedSize.reset();
       return options.screen.fullscreen = true;
     }},
};

const Option* findOption(std::string_view name) {
  for (const Option& option : kOptions) {
    if (option.name == name) return &option;
  }
  return nullptr;
}

}  // namespace

std::string defaultCacheFolder() {
  const auto below = [](const char* variable, const char* path) {
    const char* const folder = std::getenv(variable);
    // The freedesktop base directory rules ignore relative paths.
    return folder && *folder == '/' ? std::string(folder) + path : std::string();
  };
  const std::string folder = below("XDG_CACHE_HOME", "/tvvorlane/media");
  return folder.empty() ? below("HOME", "/.cache/tvvorlane/media") : folder;
}

std::optional<Options> parseOptions(const std::vector<std::string_view>& arguments,
                                    std::string* error) {
  const auto refuse = [&](std::string text) -> std::optional<Options> {
    if (error) *error = std::move(text);
    return std::nullopt;
  };
  Options options;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    const std::string_view argument = arguments[index];
    if (argument == "--help" || argument == "--version") {
      options.action =
          argument == "--help" ? Options::Action::PrintHelp : Options::Action::PrintVersion;
      return options;
    }
    const auto equals = argument.find('=');
    const std::string name(argument.substr(0, equals));
    const Option* const option = findOption(name);
    if (!option) return refuse("unknown option " + name);
    std::string_view value;
    if (equals != std::string_view::npos) {
      if (!option->takesValue) return refuse(name + " takes no value");
      value = argument.substr(equals + 1);
    } else if (option->takesValue) {
      if (++index == arguments.size()) return refuse(name + " needs a value");
      value = arguments[index];
    }
    if (!option->read(value, options)) {
      return refuse("\"" + std::string(value) + "\" is not a valid value for " + name);
    }
  }
  return options;
}

std::string_view usage() {
  return "usage: tvvorlane [OPTION...]\n"
         "\n"
         "Shows on the screen of this device what a receiver service requests over D-Bus.\n"
         "\n"
         "  --socket PATH            Unix socket for the receiver service; default\n"
         "                           $XDG_RUNTIME_DIR/tvvorlane/receiver.sock\n"
         "  --bus none|session|system\n"
         "                           also publish the objects on that message bus; default none\n"
         "  --allow-file-urls        allow file: URLs\n"
         "  --cache FOLDER           folder of the media disk cache (at most 512 MiB); default\n"
         "                           $XDG_CACHE_HOME/tvvorlane/media; an empty value disables it\n"
         "  --fullscreen             open a fullscreen window (default)\n"
         "  --windowed WIDTHxHEIGHT  open a window of this size, such as 1280x720\n"
         "  --language TAG           language of the user interface and preferred language of the\n"
         "                           sound, such as de or pt-BR; default is the language of the\n"
         "                           environment\n"
         "  --text-size N            scale texts by N, from 1 to 1.5\n"
         "  --reduced-motion         disable animations; a slow pulse replaces the spinner\n"
         "  --on-active COMMAND      shell command to run when playback begins, for example to\n"
         "                           turn the TV on\n"
         "  --on-idle COMMAND        shell command to run after 10 seconds without playback, and\n"
         "                           at exit\n"
         "  --speaker PATTERN        treat sound server sinks with a matching name, such as\n"
         "                           raop_sink.*, as Vorlane speakers; repeatable\n"
         "  --sandbox-read PATH      allow media processes to read this file or folder, such as\n"
         "                           the library of a hardware decoder; repeatable\n"
         "  --sandbox-write PATH     allow media processes to read and write this file or folder,\n"
         "                           use its device controls and connect to its sockets;\n"
         "                           repeatable\n"
         "  --no-sandbox             run media processes without a sandbox, for debugging\n"
         "  --dump-pipeline FOLDER   write a dot file of the GStreamer pipeline when an item is "
         "ready\n"
         "                           or fails, for debugging\n"
         "  --log-level N            log level of all components: 3 errors, 4 warnings, 5 notices\n"
         "  --log-component NAME[=N] log level of one component; default 5; repeatable\n"
         "  --version                print the version and exit\n"
         "  --help                   print this help and exit\n"
         "\n"
         "SIGTERM or SIGINT shuts down within 2 seconds. A second signal exits at once.\n";
}

}  // namespace box
