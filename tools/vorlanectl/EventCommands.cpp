#include <chrono>
#include <cstdio>
#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

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
  const auto show = [&](const std::string& name, const Json& info) {
    std::string line = name;
    if (arguments.has("--json")) {
      line = Json({{"event", name}, {"info", info}}).dump();
    } else if (!info.empty()) {
      line += " " + info.dump();
    }
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
    return !(limit && ++count >= *limit) && name != last;
  };
  box.listen();
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
       {{"--json", "", "as JSON objects with \"event\" and \"info\""},
        {"--count", "N", "ends after N events"},
        {"--for", "SECONDS", "ends after a time"},
        {"--until", "NAME", "ends after an event of that name"}},
       0,
       0,
       events},
  };
}

}  // namespace vorlanectl
