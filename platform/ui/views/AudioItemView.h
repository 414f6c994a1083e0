#pragma once

#include <memory>
#include <string>

#include "platform/ui/views/View.h"

namespace platform {

class Label;
class VideoOutput;
class VideoView;

/// Displays an item without video: its cover, if it has one, above its title, artist and album.
/// Main thread.
class AudioItemView final : public View {
 public:
  struct Content {
    std::string title;
    std::string artist;
    std::string album;
    std::shared_ptr<VideoOutput> cover;  ///< null: there is no cover
  };

  AudioItemView();
  ~AudioItemView() override;
  std::string className() const override { return "AudioItemView"; }

  void setContent(Content content);

 private:
  std::shared_ptr<VideoView> _cover;
  std::shared_ptr<Label> _title;
  std::shared_ptr<Label> _artist;
  std::shared_ptr<Label> _album;
};

}  // namespace platform
