#pragma once

#include <memory>
#include <optional>
#include <string>

#include <gst/gst.h>

#include "media/metadata/MetadataTimeline.h"
#include "media/pipeline/playback/Announcements.h"
#include "media/pipeline/playback/LoadContext.h"
#include "media/pipeline/playback/PlaybackState.h"
#include "platform/foundation/queues/Clock.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/playback/ResourceReader.h"

namespace media {

/// The timed metadata of an item, and those of the current position.
///
/// Threads: the pipeline's; addID3() and addEvent() any, until the pipeline has been taken down.
class CurrentMetadata {
 public:
  CurrentMetadata(LoadContext& load, const PlaybackState& state, Announcements& announcements);
  ~CurrentMetadata();
  CurrentMetadata(const CurrentMetadata&) = delete;
  CurrentMetadata& operator=(const CurrentMetadata&) = delete;

  /// Reads metadata from the demuxers of a plain resource.
  void watch(GstElement* player);
  /// Adds the header fields of a radio station.
  void noteStation(const streaming::ResourceReader& resource);
  /// `describesItem`: false for the tags of one track among others.
  void noteTags(const GstTagList* tags, bool describesItem);
  /// Adds the events in the manifest of a presentation.
  void noteEvents();
  void addID3(double seconds, const std::string& tag);
  void addEvent(double segmentStart, double timeOffset, const std::string& box);

  void update();
  /// When the metadata of the position change next.
  std::optional<platform::TimePoint> updateAt() const { return _updateAt; }

 private:
  void _wake();

  LoadContext& _load;
  const PlaybackState& _state;
  Announcements& _announcements;
  const std::shared_ptr<MetadataTimeline> _timeline = std::make_shared<MetadataTimeline>();
  std::shared_ptr<const streaming::Presentation> _eventsOf;
  MetadataTimeline::Items _tagItems;  // the newest value of each tag
  std::optional<platform::TimePoint> _updateAt;
};

}  // namespace media
