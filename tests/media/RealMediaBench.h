#pragma once

#include <functional>
#include <memory>

#include "tests/media/EngineHarness.h"
#include "tests/player/PlayerBench.h"

namespace testing_media {

/// A bench with real time and real media. The video output of its engines is a media::VideoFrames.
std::unique_ptr<PlayerBench> makeRealMediaBench(EngineMaker makeEngine);

}  // namespace testing_media
