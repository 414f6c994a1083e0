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

/// An event of a pipeline, which the engine passes on.
struct PipelineEvent {
  enum class Kind { Ready, Play, Pause, Stall, Seek, End, Fail, Facts, Selection };
  Kind kind;
  double rate = 0;               ///< of Play
  std::uint64_t seekSerial = 0;  ///< of Seek: the newest completed request
  platform::Error error{};       ///< of Fail
  std::string characteristic{};  ///< of Selection
};

/// Settings of a load that may change later.
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
  /// Fetches the media; null for a file, which GStreamer reads itself.
  std::shared_ptr<streaming::StreamedItem> item;
  std::shared_ptr<streaming::Streaming> streaming;  ///< for external texts of a file
  int displayHeight = 0;                            ///< pixels; 0: unknown
  std::optional<double> startSeconds;
  std::optional<double> startFraction;
  std::optional<platform::Date> startDate;  ///< for media with dates
  PlaybackRequest request;
  /// The pipeline prerolls and reports nothing before begin().
  bool held = false;
  std::vector<std::string> preferredLanguages;  ///< BCP 47, in order of preference
  std::vector<AlternateText> alternates;
  std::shared_ptr<const SubtitleStyles> subtitleStyles;  ///< may be null
  SubtitleCues::Observer textsChanged;                   ///< may be null; called on any thread
  std::shared_ptr<AudioDevice> audio;
  std::shared_ptr<VideoFrames> frames;
  std::uint64_t ticket = 0;  ///< for `frames`
  /// Called on the pipeline's thread.
  std::function<void(const PipelineEvent&)> report;
  /// The position has jumped. Called on any thread; may be empty.
  std::function<void()> positionChanged;
};

}  // namespace media
