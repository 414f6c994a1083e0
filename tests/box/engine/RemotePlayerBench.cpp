#include <memory>

#include "tests/box/engine/EngineProcesses.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/RealMediaBench.h"

// Lets tests of the engine and the player run with a media process.

std::unique_ptr<platform::MediaEngine> testing_media::makeTestedEngine(
    platform::MainQueue& queue, const platform::Clock& clock, bool allowFileURLs,
    const std::vector<std::string>& preferredLanguages) {
  return std::make_unique<EngineWithProcesses>(
      queue, clock, processesForTests(allowFileURLs, preferredLanguages));
}

std::unique_ptr<PlayerBench> PlayerBench::make() {
  return testing_media::makeRealMediaBench(
      [](platform::MainQueue& queue, const platform::Clock& clock) {
        return testing_media::makeTestedEngine(queue, clock, true, {});
      });
}
