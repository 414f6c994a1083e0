#include <chrono>
#include <cstdio>
#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

std::string textOf(const Event& event) {
  std::string text;
  if (event.kind != Event::Kind::Event) text = std::string(kindName(event.kind)) + " ";
  text += event.name;
  if (!event.info.empty()) text += " " + event.info.dump();
  return text;
}

std::string jsonOf(const Event& event) {
  Json line = {{kindName(event.kind), event.name}};
  if (!event.info.is_null()) line["info"] = event.info;
  return line.dump();
}

int events(Connection& box, const Arguments& arguments) {
  const auto limit = arguments.count("--count");
  const auto last = arguments.text("--until");
  const auto time = durationOption(arguments, "--for");
  if (limit == 0U) return kSuccess;

  std::uint32_t count = 0;
  const auto show = [&](const Event& event) {
    std::printf("%s\n", (arguments.has("--json") ? jsonOf(event) : textOf(event)).c_str());
    std::fflush(stdout);
    return !(limit && ++count >= *limit) && event.name != last;
  };
  box.listen(arguments.has("--notifications"));
  const bool complete = box.waitForEvents(show, time);
  // --for normally ends the command successfully, unless it waits for an event or a number of
  // events.
  return complete || (!limit && !last) ? kSuccess : kFailure;
}

}  // namespace

std::string_view kindName(Event::Kind kind) {
  switch (kind) {
    case Event::Kind::Posted:
      return "posted";
    case Event::Kind::Distributed:
      return "distributed";
    case Event::Kind::Log:
      return "log";
    case Event::Kind::Event:
      break;
  }
  return "event";
}

std::vector<Command> eventCommands() {
  return {
      {"events",
       "",
       "prints events as they arrive, one per line\n"
       "Fails if the time of --for ends before --count or --until is satisfied.",
       {{"--json", "", R"(prints JSON objects with "event" and "info")"},
        {"--notifications", "",
         R"(also prints notifications; with --json "posted" or "distributed")"},
        {"--count", "N", "ends after N events"},
        {"--for", "SECONDS", "ends after this time"},
        {"--until", "NAME", "ends after an event with this name"}},
       0,
       0,
       events},
  };
}

}  // namespace vorlanectl
