#include "platform/ui/views/VideoView.h"

#include <utility>

#include "platform/media/MediaEngine.h"

namespace platform {

VideoView::VideoView(Rect frame) : View(frame) { setBackgroundColor(kBlack); }

VideoView::~VideoView() = default;

void VideoView::setOutput(std::shared_ptr<VideoOutput> output) {
  _output = std::move(output);
  setNeedsDisplay();
}

void VideoView::appendElements(std::vector<SceneElement>& elements) const {
  if (_output) elements.emplace_back(VideoElement{_output});
}

}  // namespace platform
