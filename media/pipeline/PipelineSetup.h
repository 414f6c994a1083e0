#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/output/SubtitleCues.h"
#include "media/output/SubtitleStyles.h"
#include "media/output/VideoFrames.h"
#include "media/pipeline/AudioDevice.h"
#include "media/texts/AlternateTexts.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "streaming/playback/StreamedItem.h"

namespace media {

/// What became true in a pipeline; the engine passes it on.
struct PipelineEvent {
  enum class Kind { Ready, Play, Pause, Stall, Seek, End, Fail, Facts, Selection };
  Kind kind;
  double rate = 0;               ///< of Play
  std::uint64_t seekSerial = 0;  ///< of Seek: the newest request that it answers
  platform::Error error{};       ///< of Fail
  std::string characteristic{};  ///< of Selection
};

/// What is asked of a load from the start, and may change later.
struct PlaybackRequest {
  bool playing = true;
  double rate = 1;
  std::optional<double> forwardEnd;
  std::optional<double> reverseEnd;
  float volume = 1;
  bool muted = false;
};

struct PipelineSetup {
  std::string url;
  /// What fetches the media; null for a file, which the media library reads itself.
  std::shared_ptr<streaming::StreamedItem> item;
  std::shared_ptr<streaming::Streaming> streaming;  ///< for texts beside a file
  int displayHeight = 0;                            ///< pixels; 0: unknown
  std::optional<double> startSeconds;
  std::optional<double> startFraction;
  std::optional<platform::Date> startDate;  ///< for media whose time line tells dates
  PlaybackRequest request;
  /// The pipeline stops at the first frame and reports nothing before begin().
  bool held = false;
  std::vector<std::string> preferredLanguages;  ///< BCP 47, the best first
  std::vector<AlternateText> alternates;
  std::shared_ptr<const SubtitleStyles> subtitleStyles;  ///< may be null
  SubtitleCues::Observer textsChanged;                   ///< may be null; called on any thread
  std::shared_ptr<AudioDevice> audio;
  std::shared_ptr<VideoFrames> frames;
  std::uint64_t ticket = 0;  ///< for `frames`
  /// Called on the pipeline's thread.
  std::function<void(const PipelineEvent&)> report;
  /// The position has changed otherwise than by time or pictures. Any thread; may be empty.
  std::function<void()> positionChanged;
};

}  // namespace media
