#pragma once

#include <cstdint>
#include <optional>

#include "media/pipeline/playback/Buffering.h"
#include "media/pipeline/playback/FactsReader.h"
#include "media/pipeline/playback/PlaybackParts.h"
#include "media/pipeline/playback/Scrubbing.h"
#include "media/pipeline/playback/SoundBranch.h"
#include "platform/foundation/Date.h"

namespace media {

/// Seeks. A seek also changes the rate and the end time, and activates a new selection.
///
/// Threads: the pipeline's.
class Seeking {
 public:
  Seeking(const PlaybackParts& parts, FactsReader& facts, SoundBranch& sound, Buffering& buffering,
          Scrubbing& scrubbing)
      : _load(parts.load),
        _elements(parts.elements),
        _wanted(parts.wanted),
        _state(parts.state),
        _player(parts.player),
        _facts(facts),
        _sound(sound),
        _buffering(buffering),
        _scrubbing(scrubbing),
        _progressTimeout(parts.progressTimeout),
        _announcements(parts.announcements) {}

  void request(double seconds, std::uint64_t serial);
  void requestDate(platform::Date date, std::uint64_t serial);
  /// Converts a requested date to a position once the time line is known.
  void resolveDate();
  /// Begins a seek to the requested position. If the media are not seekable, there is no seek and
  /// the request is dropped.
  void begin();
  /// Call it when the seek has ended.
  void finish();
  /// Performs a step of Scrubbing. Returns true if it has reached the end without a seek.
  bool stepScrubbing();

 private:
  struct Segment {
    double rate;
    gint64 start;
    gint64 stop;
    bool isEnd;  // nothing in it is played
  };
  double _destination() const;
  Segment _segmentAt(double destination) const;
  bool _send(const Segment& segment, double destination);
  void _reportSeek();

  LoadContext& _load;
  const PlayerElements& _elements;
  WantedPlayback& _wanted;
  PlaybackState& _state;
  Player& _player;
  FactsReader& _facts;
  SoundBranch& _sound;
  Buffering& _buffering;
  Scrubbing& _scrubbing;
  ProgressTimeout& _progressTimeout;
  Announcements& _announcements;
  std::optional<std::uint64_t> _unreportedSerial;  // of the newest request
  bool _endsAfter = false;                         // the current seek leads to the end
};

}  // namespace media
