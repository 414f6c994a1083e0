#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

double currentSeconds() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

/// Formats a time as local HH:MM:SS.mmm.
std::string timeOfDay(double seconds) {
  const auto milliseconds = static_cast<std::int64_t>(std::floor(seconds * 1000));
  const auto whole = static_cast<std::time_t>(milliseconds / 1000);
  std::tm time{};
  localtime_r(&whole, &time);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", time.tm_hour, time.tm_min, time.tm_sec,
                static_cast<int>(milliseconds % 1000));
  return text;
}

/// The time of a log line. Log lines arrive late while a start call is running.
double timeOf(const Event& event) {
  if (event.kind == Event::Kind::Log) {
    const auto time = event.info.find("time");
    if (time != event.info.end() && time->contains("$date")) return parseDate((*time)["$date"]);
  }
  return currentSeconds();
}

std::string lineOf(const Event& event) {
  std::string line(kindName(event.kind));
  line += " " + event.name;
  if (event.kind == Event::Kind::Log) {
    line.erase(line.find_last_not_of(' ') + 1);
  } else if (!event.info.empty()) {
    line += " " + event.info.dump();
  }
  return line;
}

void printLine(double seconds, const std::string& line) {
  std::printf("%s %s\n", timeOfDay(seconds).c_str(), line.c_str());
  std::fflush(stdout);
}

int trace(Connection& box, const Arguments& arguments) {
  const auto limit = durationOption(arguments, "--for");
  const auto last = arguments.text("--until");
  box.listen(true);
  box.startTrace();
  printLine(currentSeconds(), "status " + box.callBox("Status").read().dump());
  const auto show = [&](const Event& event) {
    printLine(timeOf(event), lineOf(event));
    return event.kind != Event::Kind::Event || event.name != last;
  };
  return box.waitForEvents(show, limit) || !last ? kSuccess : kFailure;
}

}  // namespace

std::vector<Command> traceCommands() {
  return {
      {"trace",
       "",
       "prints calls, log lines, events and notifications with their times\n"
       "Meanwhile the box logs with level 5 for every component, which includes the commands to "
       "the\n"
       "media process, its answers and its transfers. The log of the box has these lines, too.",
       {{"--for", "SECONDS", "ends after this time"},
        {"--until", "NAME", "ends after an event with this name; fails if --for ends first"}},
       0,
       0,
       trace},
  };
}

}  // namespace vorlanectl
