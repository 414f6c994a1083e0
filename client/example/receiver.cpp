// A receiver service whose only sender is the command line. Plays a URL, prints the events of the
// box, reads the commands "pause", "resume" and "stop" from stdin, and reconnects after a restart
// of the box.
//
//     receiver URL [SOCKET]

#include <cstdio>
#include <iostream>
#include <string>

#include <poll.h>
#include <tvvorlane/client.hpp>
#include <unistd.h>

namespace {

constexpr int kSession = 1;
constexpr int kRetryMilliseconds = 2000;

void play(tvvorlane::Client& box, const std::string& url) {
  box.startVideo({{"Content-Location", url}, {"sessionID", kSession}, {"uuid", "only"}},
                 [](const tvvorlane::Reply& reply) {
                   std::printf("started: %s, status %d\n", tvvorlane_result_text(reply.result),
                               reply.status);
                 });
}

void runCommand(tvvorlane::Client& box, const std::string& line) {
  if (line == "pause") box.setProperty("rate", 0);
  if (line == "resume") box.setProperty("rate", 1);
  if (line == "stop") box.stopVideo({{"sessionID", kSession}});
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return 2;
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  std::setvbuf(stdin, nullptr, _IONBF, 0);  // reading ahead would hide input from poll()
  const std::string socket = count > 2 ? arguments[2] : "";
  tvvorlane::Client box;
  bool open = false, over = false;
  box.onEvent([&](std::string_view name, const tvvorlane::Value& info) {
    const double position = info["position"].real();
    std::printf("%.*s, at %.1f s\n", static_cast<int>(name.size()), name.data(), position);
    over = name == "stopped";
  });
  box.onClosed([&](int) { open = false; });

  while (!over) {
    if (!open && (open = box.open(socket) == TVVORLANE_OK)) play(box, arguments[1]);
    // poll() ignores negative descriptors.
    pollfd ready[] = {{open ? box.descriptor() : -1, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    poll(ready, 2, open ? -1 : kRetryMilliseconds);
    if (ready[0].revents) box.dispatch();
    std::string line;
    if (ready[1].revents && (!std::getline(std::cin, line) || line == "quit")) break;
    if (open) runCommand(box, line);
  }
}
