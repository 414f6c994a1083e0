#include <memory>

#include "tests/media/MediaEngineMaker.h"
#include "tests/media/RealMediaBench.h"

// The bench for programs with the engine in their own process.

std::unique_ptr<platform::MediaEngine> testing_media::makeTestedEngine(
    platform::MainQueue& queue, const platform::Clock& clock, bool allowFileURLs,
    const std::vector<std::string>& preferredLanguages) {
  return makerOf({.allowFileURLs = allowFileURLs, .preferredLanguages = preferredLanguages})(queue,
                                                                                             clock);
}

std::unique_ptr<PlayerBench> PlayerBench::make() {
  return testing_media::makeRealMediaBench(
      testing_media::makerOf({.allowFileURLs = true, .streaming = streaming::Streaming::make()}));
}
