#pragma once

#include <memory>

#include "platform/ui/views/View.h"

namespace platform {

class VideoOutput;

/// Displays a video output on black. Main thread.
class VideoView final : public View {
 public:
  explicit VideoView(Rect frame);
  ~VideoView() override;
  std::string className() const override { return "VideoView"; }

  const std::shared_ptr<VideoOutput>& output() const { return _output; }
  void setOutput(std::shared_ptr<VideoOutput> output);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  std::shared_ptr<VideoOutput> _output;
};

}  // namespace platform
