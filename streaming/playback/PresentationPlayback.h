#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/media/TimeRange.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/playback/TrackReader.h"

namespace streaming {

/// Selected tracks by Track::id, at most one of each kind. Empty: none.
struct TrackSelection {
  std::string video;
  std::string audio;
  std::string text;
  friend bool operator==(const TrackSelection&, const TrackSelection&) = default;
};

/// Limits for the choice of representations.
struct PlaybackLimits {
  int displayHeight = 0;    ///< pixels; 0: no limit
  int decodableHeight = 0;  ///< taller video has dropped frames; 0: no limit
};

/// The box can decode the codecs and MIME type of a representation. Any thread.
using CanDecode = std::function<bool(MediaKind kind, const Representation& representation)>;

/// Plays the tracks of a presentation. Any thread. Handlers are called on the transfer thread.
/// Setting an empty handler removes it and waits for a running call on another thread.
class PresentationPlayback {
 public:
  virtual ~PresentationPlayback() = default;

  /// The current version of the manifest.
  virtual std::shared_ptr<const Presentation> presentation() const = 0;
  /// The tracks of the period at `seconds` that can be decoded.
  virtual std::vector<Track> tracksAt(double seconds) const = 0;

  /// Tracks that are not selected are not loaded. A reader switches to the new track at its next
  /// seek().
  virtual void select(const TrackSelection& selection) = 0;
  virtual TrackSelection selection() const = 0;

  /// The start position. Without a value: that of the manifest, the live edge, or the beginning.
  struct Start {
    std::optional<double> seconds;
    std::optional<double> fraction;      ///< of the duration; ignored for live presentations
    std::optional<platform::Date> date;  ///< used if the presentation has dates
  };
  /// Loads the selected tracks and starts to request segments. Without a selection it selects the
  /// video, the default audio and no text. `ready` is called once, on the transfer thread, with the
  /// start position or an error.
  virtual void prepare(
      const Start& start, const PlaybackLimits& limits,
      std::function<void(double seconds, std::optional<platform::Error> error)> ready) = 0;

  /// Null for kinds that are not selected, for audio muxed into the video, and for text.
  virtual std::shared_ptr<TrackReader> reader(MediaKind kind) = 0;
  virtual void setLimits(const PlaybackLimits& limits) = 0;
  /// The current playback position. Segments are loaded and kept around it. Called often.
  virtual void setPosition(double seconds) = 0;

  struct Timeline {
    double duration = TVSDurationIndefinite;
    bool isLive = false;
    std::vector<platform::TimeRange> seekable;
    std::vector<platform::TimeRange> loaded;  ///< buffered in all selected tracks
    std::optional<platform::Date> date;       ///< civil time of `position`
    bool isLoadedToEnd = false;
  };
  virtual Timeline timeline(double position) const = 0;
  virtual std::optional<double> positionOf(platform::Date date) const = 0;

  /// `handler` receives each complete segment of the selected text. `isFirst`: the first one after
  /// a seek or a selection.
  virtual void whenText(std::function<void(const TrackPiece& piece, bool isFirst)> handler) = 0;
  /// `handler` is called when presentation(), tracksAt() or timeline() has changed, except for
  /// `loaded`.
  virtual void whenChanged(std::function<void()> handler) = 0;
};

}  // namespace streaming
