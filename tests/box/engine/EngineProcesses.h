#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "box/engine/MediaProcesses.h"
#include "box/engine/RemoteEngine.h"

namespace testing_media {

/// The setup of the box, with timeouts for slow machines.
inline box::MediaProcesses::Setup processesForTests(bool allowFileURLs = true,
                                                    std::vector<std::string> languages = {}) {
  box::MediaProcesses::Setup setup;
  setup.options.allowFileURLs = allowFileURLs;
  setup.options.languages = std::move(languages);
  setup.answerLimit = std::chrono::minutes(2);
  setup.startLimit = std::chrono::minutes(2);
  return setup;
}

struct EngineProcesses {
  EngineProcesses(platform::MainQueue& queue, box::MediaProcesses::Setup setup)
      : processes(queue, std::move(setup)) {}
  box::MediaProcesses processes;
};

/// A remote engine that owns its pool of processes.
class EngineWithProcesses final : private EngineProcesses, public box::RemoteEngine {
 public:
  EngineWithProcesses(platform::MainQueue& queue, const platform::Clock& clock,
                      box::MediaProcesses::Setup setup)
      : EngineProcesses(queue, std::move(setup)), RemoteEngine(queue, clock, processes) {}

  box::MediaProcesses& pool() { return processes; }
};

}  // namespace testing_media
