#include <cstdio>
#include <string_view>

#include "platform/services/Platform.h"
#include "sim/Box.h"

namespace {

constexpr std::string_view kUsage =
    "usage: tvvorlane-sim [--log-level N]\n"
    "\n"
    "Launches the application in a simulated box, prints its status, and terminates it. This "
    "checks\n"
    "that the application starts and ends without a screen, a player or a bus. No client can "
    "connect.\n"
    "\n"
    "  --log-level N   print log lines up to level N (3 errors, 4 warnings, 5 notices) to stderr;\n"
    "                  default: none\n"
    "  --help          print this help\n";

class SmokePlatform final : public sim::Box {
 public:
  explicit SmokePlatform(int logLevel) : Box({.logLevel = logLevel}) {}

  int run(platform::Application application) override {
    auto status = application.status;
    if (!launch(std::move(application))) return 1;
    if (status) std::printf("%s\n", status().description().c_str());
    terminate();
    for (const auto& line : log()) std::fprintf(stderr, "%s\n", line.c_str());
    return 0;
  }
};

}  // namespace

std::unique_ptr<platform::RunnablePlatform> platform::makePlatform(int argc, char** argv,
                                                                   int* exitStatus) {
  const auto end = [&](std::FILE* stream, int status) {
    std::fwrite(kUsage.data(), 1, kUsage.size(), stream);
    if (exitStatus) *exitStatus = status;
    return nullptr;
  };
  int logLevel = 0;
  for (int index = 1; index < argc; ++index) {
    const std::string_view option = argv[index];
    if (option == "--help") return end(stdout, 0);
    if (option != "--log-level" || ++index == argc) return end(stderr, 2);
    const std::string_view level = argv[index];
    if (level != "3" && level != "4" && level != "5") return end(stderr, 2);
    logLevel = level.front() - '0';
  }
  return std::make_unique<SmokePlatform>(logLevel);
}
