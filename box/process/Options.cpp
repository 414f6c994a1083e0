#include "box/process/Options.h"

#include <charconv>
#include <cstdlib>
#include <functional>

#include "box/screen/drawing/Theme.h"

namespace box {

namespace {

constexpr int kDefaultComponentLevel = 5;
constexpr int kHighestLevel = 7;
constexpr int kSmallestSide = 64;
constexpr int kLargestSide = 16384;

std::optional<int> wholeNumber(std::string_view text, int smallest, int largest) {
  int number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = failure == std::errc() && end == text.data() + text.size();
  if (!whole || number < smallest || number > largest) return std::nullopt;
  return number;
}

bool readBus(std::string_view text, Options& options) {
  using Bus = DoorOptions::Bus;
  if (text == "none") {
    options.door.bus = Bus::None;
  } else if (text == "session") {
    options.door.bus = Bus::Session;
  } else if (text == "system") {
    options.door.bus = Bus::System;
  } else {
    return false;
  }
  return true;
}

bool readSize(std::string_view text, Options& options) {
  const auto cross = text.find('x');
  if (cross == std::string_view::npos) return false;
  const auto width = wholeNumber(text.substr(0, cross), kSmallestSide, kLargestSide);
  const auto height = wholeNumber(text.substr(cross + 1), kSmallestSide, kLargestSide);
  if (!width || !height) return false;
  options.screen.fullscreen = false;
  options.screen.windowedSize =
      platform::Size{static_cast<double>(*width), static_cast<double>(*height)};
  return true;
}

bool readLogLevel(std::string_view text, Options& options) {
  options.logLevel = wholeNumber(text, 0, kHighestLevel);
  return options.logLevel.has_value();
}

bool readLogComponent(std::string_view text, Options& options) {
  const auto equals = text.find('=');
  const auto level = equals == std::string_view::npos
                         ? kDefaultComponentLevel
                         : wholeNumber(text.substr(equals + 1), 0, kHighestLevel);
  const std::string_view name = text.substr(0, equals);
  if (!level || name.empty()) return false;
  options.logComponents.emplace_back(name, *level);
  return true;
}

bool readPath(std::string_view text, Options& options) {
  options.door.socketPath = text;
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

bool readTextSize(std::string_view text, Options& options) {
  double& size = options.screen.access.textSize;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), size);
  return failure == std::errc() && end == text.data() + text.size() &&
         size >= theme::kLeastTextSize && size <= theme::kMostTextSize;
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
    // What is not absolute is to be ignored (XDG Base Directory).
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
      return refuse("\"" + std::string(value) + "\" is no value for " + name);
    }
  }
  return options;
}

std::string_view usage() {
  return "usage: tvvorlane [OPTION...]\n"
         "\n"
         "Shows on this device's screen what a receiver service tells it to.\n"
         "\n"
         "  --socket PATH            where the receiver service connects; by default\n"
         "                           $XDG_RUNTIME_DIR/tvvorlane/receiver.sock\n"
         "  --bus none|session|system\n"
         "                           also publish the same object on that D-Bus bus; default none\n"
         "  --allow-file-urls        play file: URLs\n"
         "  --cache FOLDER           where media that may be kept are, at most 512 MiB; by "
         "default\n"
         "                           $XDG_CACHE_HOME/tvvorlane/media; empty for nowhere\n"
         "  --fullscreen             cover the whole display (the default)\n"
         "  --windowed WIDTHxHEIGHT  a window of that size, such as 1280x720\n"
         "  --language TAG           language of the texts, such as de or pt-BR; by default that "
         "of\n"
         "                           the environment\n"
         "  --text-size N            texts N times as large as usual, 1 to 1.5\n"
         "  --reduced-motion         nothing turns, moves or fades: things appear at once, and\n"
         "                           the sign of loading pulses slowly in place\n"
         "  --on-active COMMAND      run by the shell when something begins to play, such as one\n"
         "                           that turns the TV on\n"
         "  --on-idle COMMAND        run when nothing has played for 10 seconds, or at the end\n"
         "  --speaker PATTERN        outputs of the sound server with such a name, such as "
         "raop_sink.*,\n"
         "                           are Vorlane speakers; may be repeated\n"
         "  --sandbox-read PATH      the process that plays media may also read that file or "
         "folder,\n"
         "                           such as one of a vendor's decoder; may be repeated\n"
         "  --sandbox-write PATH     the same for writing, the controls of devices, and sockets\n"
         "  --no-sandbox             that process keeps all rights; for debugging\n"
         "  --log-level N            log lines up to level N of every component: 3 errors,\n"
         "                           4 warnings, 5 notices\n"
         "  --log-component NAME[=N] the same for one component; 5 without N; may be repeated\n"
         "  --version                print the version\n"
         "  --help                   print this\n"
         "\n"
         "SIGTERM or SIGINT ends it within 2 seconds, a second one at once.\n";
}

}  // namespace box
