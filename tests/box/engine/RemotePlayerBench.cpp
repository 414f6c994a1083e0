#include <memory>

#include "tests/box/engine/OwnProcesses.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/RealMediaBench.h"

// What the programs with the engine in a process of its own run on.

std::unique_ptr<platform::MediaEngine> testing_media::makeTestedEngine(
    platform::MainQueue& queue, const platform::Clock& clock, bool allowFileURLs,
    const std::vector<std::string>& preferredLanguages) {
  return std::make_unique<OwnProcessesEngine>(queue, clock,
                                              processesForTests(allowFileURLs, preferredLanguages));
}

std::unique_ptr<PlayerBench> PlayerBench::make() {
  return testing_media::makeRealMediaBench(
      [](platform::MainQueue& queue, const platform::Clock& clock) {
        return testing_media::makeTestedEngine(queue, clock, true, {});
      });
}
