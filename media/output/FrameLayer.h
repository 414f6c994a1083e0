#pragma once

#include <memory>

#include "media/output/VideoFrames.h"
#include "platform/ui/scene/Layer.h"

namespace media {

/// A layer whose pictures come from another process. The screen draws them like a player's.
class FrameLayer : public platform::Layer {
 public:
  /// Never null, and always the same object. Threads: any.
  virtual const std::shared_ptr<VideoFrames>& frames() const = 0;
};

}  // namespace media
