#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "media/pipeline/PipelineSetup.h"
#include "media/pipeline/playback/PlaybackState.h"

namespace media {

/// Reports events, each only once until it is renewed.
///
/// Threads: the pipeline's.
class Announcements {
 public:
  Announcements(std::function<void(const PipelineEvent&)> report, const PlaybackState& state)
      : _report(std::move(report)), _state(state) {}

  void ready();
  void stall();
  void facts();
  void factsIfReady();
  void selection(const std::string& characteristic);
  void seek(std::uint64_t serial);
  /// With `held` the failure is not reported before reportWithheldFailure().
  void failure(platform::Error error, bool held);
  void reportWithheldFailure();

  // Reported once, until the function below is called.
  void play();
  void pause();
  void end();  // reports play first, if it was never reported

  void renewPlay() { _hasReportedPlay = false; }
  void renewPause() { _hasReportedPause = false; }
  void renewEnd() { _hasReportedEnd = false; }

 private:
  void _reportKind(PipelineEvent::Kind kind) { _report({.kind = kind}); }

  const std::function<void(const PipelineEvent&)> _report;
  const PlaybackState& _state;
  bool _hasPlayed = false;  // since the load
  bool _hasReportedPlay = false;
  bool _hasReportedPause = false;
  bool _hasReportedEnd = false;
  std::optional<platform::Error> _withheldFailure;
};

}  // namespace media
