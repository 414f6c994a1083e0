#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "box/engine/MediaProcesses.h"
#include "box/engine/RemoteEngine.h"

namespace testing_media {

/// As the box sets them up, but for machines of any speed.
inline box::MediaProcesses::Setup processesForTests(bool allowFileURLs = true,
                                                    std::vector<std::string> languages = {}) {
  box::MediaProcesses::Setup setup;
  setup.options.allowFileURLs = allowFileURLs;
  setup.options.languages = std::move(languages);
  setup.answerLimit = std::chrono::minutes(2);
  setup.startLimit = std::chrono::minutes(2);
  return setup;
}

struct OwnProcesses {
  OwnProcesses(platform::MainQueue& queue, box::MediaProcesses::Setup setup)
      : processes(queue, std::move(setup)) {}
  box::MediaProcesses processes;
};

/// A remote engine together with the processes that it takes.
class OwnProcessesEngine final : private OwnProcesses, public box::RemoteEngine {
 public:
  OwnProcessesEngine(platform::MainQueue& queue, const platform::Clock& clock,
                     box::MediaProcesses::Setup setup)
      : OwnProcesses(queue, std::move(setup)), RemoteEngine(queue, clock, processes) {}

  box::MediaProcesses& pool() { return processes; }
};

}  // namespace testing_media
