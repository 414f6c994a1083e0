#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

#include <unistd.h>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

/// Maximum time in seconds that the box holds a button.
constexpr double kMaxHoldSeconds = 60;

int status(Connection& box, const Arguments&) {
  print(box.callBox("Status").read());
  return kSuccess;
}

int press(Connection& box, const Arguments& arguments) {
  const double seconds = arguments.number("--hold").value_or(0);
  if (!(seconds >= 0 && seconds <= kMaxHoldSeconds))
    throw UsageError("--hold needs seconds from 0 to 60");
  for (const std::string& button : arguments.words()) {
    box.callBox(seconds > 0 ? "Hold" : "Press", [&](sd_bus_message* call) {
      sd_bus_message_append_basic(call, 's', button.c_str());
      if (seconds > 0) sd_bus_message_append_basic(call, 'd', &seconds);
    });
    // The box releases the button itself. The next button is sent after that.
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
  }
  return kSuccess;
}

int swipe(Connection& box, const Arguments& arguments) {
  box.callBox("Swipe", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', arguments.words()[0].c_str());
  });
  return kSuccess;
}

int screenshot(Connection& box, const Arguments& arguments) {
  const std::string file = arguments.words().empty() ? "screenshot.png" : arguments.words()[0];
  const bool toOutput = file == "-";
  if (toOutput && isatty(STDOUT_FILENO) == 1)
    throw UsageError("refusing to write a picture to a terminal");
  Answer answer = box.callBox("Screenshot");
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (sd_bus_message_read_array(answer.message(), 'y', &bytes, &size) < 0) {
    throw CallError("The answer has no picture");
  }
  std::FILE* const output = toOutput ? stdout : std::fopen(file.c_str(), "wb");
  bool written = output && std::fwrite(bytes, 1, size, output) == size && std::fflush(output) == 0;
  const int error = errno;
  if (output && !toOutput) written = std::fclose(output) == 0 && written;
  if (!written) throw CallError("Cannot write " + file + ": " + std::strerror(error));
  if (!toOutput) std::printf("%s\n", file.c_str());
  return kSuccess;
}

}  // namespace

std::vector<Command> boxCommands() {
  return {
      {"status", "", "prints the state of the box as JSON", {}, 0, 0, status},
      {"press",
       "BUTTON...",
       "presses buttons of the remote, one after the other\n"
       "up, down, left, right, select, menu, playpause, home.",
       {{"--hold", "SECONDS", "holds each button, 60 s at most; left and right then scan"}},
       1,
       kUnlimited,
       press},
      {"swipe", "DIRECTION", "swipes on the remote: up, down, left, right", {}, 1, 1, swipe},
      {"screenshot",
       "[FILE]",
       "writes a PNG of the screen and prints the file name\n"
       "Default: screenshot.png. - writes to stdout.",
       {},
       0,
       1,
       screenshot},
  };
}

}  // namespace vorlanectl
