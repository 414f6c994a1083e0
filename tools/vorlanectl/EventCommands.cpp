#include <chrono>
#include <cstdio>
#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

/// How an event's kind is called in front of its name.
std::string_view nameOfKind(Event::Kind kind) {
  switch (kind) {
    case Event::Kind::Posted:
      return "posted";
    case Event::Kind::Distributed:
      return "distributed";
    case Event::Kind::Event:
      break;
  }
  return "event";
}

std::string textOf(const Event& event) {
  std::string text;
  if (event.kind != Event::Kind::Event) text = std::string(nameOfKind(event.kind)) + " ";
  text += event.name;
  if (!event.info.empty()) text += " " + event.info.dump();
  return text;
}

std::string jsonOf(const Event& event) {
  Json line = {{nameOfKind(event.kind), event.name}};
  if (!event.info.is_null()) line["info"] = event.info;
  return line.dump();
}

int events(Connection& box, const Arguments& arguments) {
  const auto limit = arguments.count("--count");
  const auto last = arguments.text("--until");
  std::optional<std::chrono::milliseconds> time;
  if (const auto seconds = arguments.number("--for")) {
    if (*seconds < 0 || *seconds > 1e9) throw UsageError("--for needs seconds from 0 to a billion");
    time = std::chrono::milliseconds(static_cast<std::int64_t>(*seconds * 1000));
  }
  if (limit == 0U) return kSuccess;

  std::uint32_t count = 0;
  const auto show = [&](const Event& event) {
    std::printf("%s\n", (arguments.has("--json") ? jsonOf(event) : textOf(event)).c_str());
    std::fflush(stdout);
    return !(limit && ++count >= *limit) && event.name != last;
  };
  box.listen(arguments.has("--notifications"));
  const bool complete = box.waitForEvents(show, time);
  // Time is the usual end of a look, but not of a wait for something.
  return complete || (!limit && !last) ? kSuccess : kFailure;
}

}  // namespace

std::vector<Command> eventCommands() {
  return {
      {"events",
       "",
       "prints events as they come, one on each line\n"
       "Fails when --for is over before what --count or --until waits for.",
       {{"--json", "", R"(as JSON objects with "event" and "info")"},
        {"--notifications", "", R"(notifications too; "posted" or "distributed" with --json)"},
        {"--count", "N", "ends after N events"},
        {"--for", "SECONDS", "ends after a time"},
        {"--until", "NAME", "ends after an event of that name"}},
       0,
       0,
       events},
  };
}

}  // namespace vorlanectl
