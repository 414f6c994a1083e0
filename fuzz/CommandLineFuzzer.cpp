// Command lines of all programs, and values of vorlanectl.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sys/socket.h>
#include <systemd/sd-bus.h>

#include "box/process/Options.h"
#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/TextMutator.h"
#include "media/link/ProcessOptions.h"
#include "tools/vorlanectl/Command.h"
#include "tools/vorlanectl/Json.h"

namespace fuzz {
namespace {

/// The lines of the input are the arguments.
std::vector<std::string_view> argumentsIn(Bytes input) {
  std::vector<std::string_view> arguments;
  std::string_view rest = textOf(input);
  while (!rest.empty()) {
    arguments.push_back(rest.substr(0, rest.find('\n')));
    rest.remove_prefix(std::min(arguments.back().size() + 1, rest.size()));
  }
  return arguments;
}

void readBoxOptions(Bytes input) {
  std::string error;
  if (!box::parseOptions(argumentsIn(input), &error))
    require(!error.empty(), "a rejected option has a message");
}

void readProcessOptions(Bytes input) {
  std::string error;
  const auto options = media::parseProcessOptions(argumentsIn(input), &error);
  require(options || !error.empty(), "a rejected option has a message");
  if (!options) return;
  const std::vector<std::string> texts = media::argumentsOf(*options);
  const std::vector<std::string_view> arguments(texts.begin(), texts.end());
  require(media::parseProcessOptions(arguments, &error).has_value(),
          "written options are accepted");
}

void readControlCommand(Bytes input) {
  const auto views = argumentsIn(input);
  std::vector<std::string> words(views.begin(), views.end());
  if (words.empty()) return;
  for (const vorlanectl::Command& command : vorlanectl::commands()) {
    if (command.name != words.front()) continue;
    words.erase(words.begin());
    try {
      const vorlanectl::Arguments arguments(command.options, words);
      vorlanectl::Json parameters = vorlanectl::sessionParameters(arguments);
      vorlanectl::addParameters(parameters, arguments);
      for (const vorlanectl::Option& each : command.options) {
        static_cast<void>(arguments.texts(each.name));
        static_cast<void>(arguments.number(each.name));
        static_cast<void>(vorlanectl::durationOption(arguments, each.name));
      }
    } catch (const vorlanectl::UsageError&) {
    } catch (const vorlanectl::CodingError&) {
    }
    return;
  }
}

/// Messages need a connection, but are not sent.
sd_bus_message* newMessage() {
  static sd_bus* const bus = [] {
    int ends[2];
    sd_bus* made = nullptr;
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0 &&
                sd_bus_new(&made) >= 0 && sd_bus_set_fd(made, ends[0], ends[0]) >= 0 &&
                sd_bus_start(made) >= 0,
            "a connection can be made");
    return made;
  }();
  sd_bus_message* message = nullptr;
  sd_bus_message_new(bus, &message, SD_BUS_MESSAGE_METHOD_CALL);
  return message;
}

void readControlValue(Bytes input) {
  const std::string text(textOf(input));
  try {
    static_cast<void>(vorlanectl::parseNumber(text, "number"));
  } catch (const vorlanectl::UsageError&) {
  }
  try {
    static_cast<void>(vorlanectl::formatDate(vorlanectl::parseDate(text)));
  } catch (const vorlanectl::CodingError&) {
  }
  try {
    const std::string bytes = vorlanectl::decodeBase64(text);
    require(vorlanectl::decodeBase64(vorlanectl::base64(bytes.data(), bytes.size())) == bytes,
            "base64 keeps the bytes");
  } catch (const vorlanectl::CodingError&) {
  }
  try {
    const vorlanectl::Json value = vorlanectl::parseJson(text);
    sd_bus_message* const message = newMessage();
    if (!message) return;
    const std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)> owner(
        message, &sd_bus_message_unref);
    vorlanectl::appendVariant(message, value);
    if (sd_bus_message_seal(message, 1, 0) < 0) return;
    static_cast<void>(vorlanectl::readValue(message).dump());
  } catch (const vorlanectl::CodingError&) {
  }
}

constexpr std::string_view kBoxOptions[] = {
    "--socket\n%w", "--windowed\n%nx%n", "--log-level\n%n",     "--log-component\n%w=%n",
    "--bus\n%w",    "--language\n%w",    "--cache\n%w",         "--allow-file-urls",
    "--no-sandbox", "--text-size\n%n",   "--sandbox-read\n%w",  "--speaker\n%w",
    "--help",       "--version",         "--dump-pipeline\n%w", "--%w=%n"};
constexpr std::string_view kOptionWords[] = {"",     "a",     "session",  "none",
                                             "/tmp", "pt-BR", "TVVLMedia"};
constexpr std::string_view kControlWords[] = {"play\nhttp://a/b",
                                              "--session\n%n",
                                              "--param\n%w=%w",
                                              "--param\nkey={\"a\":[%n,%n]}",
                                              "seek\n%n",
                                              "rate\n%n",
                                              "--timeout\n%n",
                                              "get\n%w",
                                              "set\n%w\n%w",
                                              "--",
                                              "-%n",
                                              "press\n%w",
                                              "events",
                                              "trace",
                                              "mirror",
                                              "pin\n%n",
                                              "status"};
constexpr std::string_view kJson[] = {"{\"$data\":\"%w\"}",
                                      "{\"$date\":\"%w\"}",
                                      "[%n,%n,-%n]",
                                      "{\"a\":{\"b\":%n}}",
                                      "\"\\u%n\"",
                                      "[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[",
                                      "null",
                                      "true",
                                      "%n",
                                      "2024-01-01T00:00:00Z"};
constexpr std::string_view kJsonWords[] = {"QUJD", "QQ==", "2024-02-29T12:00:00.5Z", "-1",
                                           "\\ud800"};

template <const auto& pieces, const auto& words>
void mutateArguments(std::string& input, Random& random) {
  static const TextGrammar grammar{TextGrammar::Tokens::Lines, pieces, words};
  mutateText(input, random, grammar);
}

const Registration boxOptions(
    {"BoxOptions", &readBoxOptions, {}, &mutateArguments<kBoxOptions, kOptionWords>});
const Registration processOptions(
    {"ProcessOptions", &readProcessOptions, {}, &mutateArguments<kBoxOptions, kOptionWords>});
const Registration controlCommand({"ControlCommand",
                                   &readControlCommand,
                                   {.heap = {std::size_t{4} << 20, 2000}},
                                   &mutateArguments<kControlWords, kJsonWords>});
const Registration controlValue({"ControlValue",
                                 &readControlValue,
                                 {.heap = {std::size_t{4} << 20, 4000}},
                                 &mutateArguments<kJson, kJsonWords>});

}  // namespace
}  // namespace fuzz
