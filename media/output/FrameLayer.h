#pragma once

#include <memory>

#include "media/output/VideoFrames.h"
#include "platform/ui/scene/Layer.h"

namespace media {

/// A layer of this box: its pictures come from another process, and are drawn like a player's.
class FrameLayer : public platform::Layer {
 public:
  /// Never null, the same for the whole life. Any thread.
  virtual const std::shared_ptr<VideoFrames>& frames() const = 0;
};

}  // namespace media
