#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gst/gst.h>

#include "media/segments/TrackDemuxer.h"
#include "media/support/GstRef.h"
#include "streaming/playback/PresentationPlayback.h"

namespace fake_presentation {

/// An access unit that a demuxer of GStreamer has found, with its time in the file.
struct Unit {
  std::shared_ptr<GstCaps> caps;
  std::shared_ptr<GstBuffer> buffer;
  double time = 0;  // DTS
  double shown = 0;
  bool isKey = false;
};
using Units = std::vector<Unit>;

/// Returns the units that `qtdemux` finds in a file, with `offset` added to all times.
Units unitsOf(const std::string& path, media::ElementaryKind kind, double offset = 0);

/// The results of a track's reader: units of one kind or of both, and other events.
struct Script {
  Units video{};
  Units audio{};
  std::vector<std::pair<double, double>> gaps{};
  std::optional<double> failsAt{};
  std::optional<double> blocksAt{};  ///< where reading blocks until the gate is closed
};

class ScriptReader final : public streaming::TrackReader {
 public:
  explicit ScriptReader(Script given) : script(std::move(given)) {}
  std::optional<streaming::TrackPiece> next(const streaming::ReadGate&) override { return {}; }
  void seek(double seconds) override { position = seconds; }

  const Script script;
  std::atomic<double> position = 0;
  std::atomic<int> blockCount = 0;
};

/// A demuxer for ScriptReader. After a seek it begins at the full second before the position.
std::unique_ptr<media::TrackDemuxer> makeDemuxer(media::TrackDemuxer::Setup setup);

/// Tracks "v" and "a".
class Playback final : public streaming::PresentationPlayback {
 public:
  /// Readers may be null. Without an audio reader, audio is muxed with video.
  Playback(std::shared_ptr<ScriptReader> video, std::shared_ptr<ScriptReader> audio,
           double duration);

  std::shared_ptr<const streaming::Presentation> presentation() const override;
  std::vector<streaming::Track> tracksAt(double) const override { return {}; }
  void select(const streaming::TrackSelection& selection) override;
  streaming::TrackSelection selection() const override;
  void prepare(const Start&, const streaming::PlaybackLimits&,
               std::function<void(double, std::optional<platform::Error>)>) override {}
  std::shared_ptr<streaming::TrackReader> reader(streaming::MediaKind kind) override;
  void setLimits(const streaming::PlaybackLimits&) override {}
  void setPosition(double seconds) override { position = seconds; }
  Timeline timeline(double) const override;
  std::optional<double> positionOf(platform::Date) const override { return std::nullopt; }
  void whenText(std::function<void(const streaming::TrackPiece&, bool)>) override {}
  void whenChanged(std::function<void()>) override {}

  std::atomic<double> position = -1;

 private:
  const std::shared_ptr<ScriptReader> _video;
  const std::shared_ptr<ScriptReader> _audio;
  const double _duration;
  std::shared_ptr<const streaming::Presentation> _presentation;
  mutable std::mutex _mutex;
  streaming::TrackSelection _selection;
};

}  // namespace fake_presentation
