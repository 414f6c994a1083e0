#include <cstdio>
#include <string>
#include <vector>

#include "box/process/Box.h"
#include "box/process/Options.h"
#include "box/process/Version.h"
#include "box/services/network/GioNetworkWatch.h"
#include "startup/DeathReport.h"
#include "startup/Log.h"
#include "startup/MallocArenas.h"

std::unique_ptr<platform::RunnablePlatform> platform::makePlatform(int argc, char** argv,
                                                                   int* exitStatus) {
  const TimePoint started = SystemClock().now();
  startup::limitMallocArenas();
  const auto end = [&](int status) {
    if (exitStatus) *exitStatus = status;
    return nullptr;
  };
  const std::vector<std::string_view> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  std::string error;
  auto options = box::parseOptions(arguments, &error);
  if (!options) {
    std::fprintf(stderr, "tvvorlane: %s\nTry tvvorlane --help.\n", error.c_str());
    return end(2);
  }
  switch (options->action) {
    case box::Options::Action::PrintHelp:
      std::fwrite(box::usage().data(), 1, box::usage().size(), stdout);
      return end(0);
    case box::Options::Action::PrintVersion:
      std::printf("tvvorlane %s\n", std::string(box::kVersion).c_str());
      return end(0);
    case box::Options::Action::Run:
      break;
  }
  startup::installDeathReport(startup::isStderrJournal());
  return std::make_unique<box::Box>(std::move(*options), started,
                                    std::make_unique<box::GioNetworkWatch>());
}
