#pragma once

#include <memory>

#include "media/engine/MediaEngine.h"
#include "tests/media/EngineHarness.h"

namespace testing_media {

/// For an EngineHarness with the engine in the test's own process.
inline EngineMaker makerOf(const media::MediaEngineOptions& options) {
  return [options](platform::MainQueue& queue, const platform::Clock& clock) {
    return std::make_unique<media::MediaEngine>(queue, clock, options);
  };
}

}  // namespace testing_media
