#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/media/MediaFacts.h"
#include "streaming/manifest/Presentation.h"
#include "streaming/playback/TrackReader.h"

namespace streaming {

/// What the player selects: at most one track of each kind, by Track::id. Empty: none.
struct TrackSelection {
  std::string video;
  std::string audio;
  std::string text;
  friend bool operator==(const TrackSelection&, const TrackSelection&) = default;
};

/// What limits the choice of a representation.
struct PlaybackLimits {
  int displayHeight = 0;    ///< pixels; 0: no limit
  int decodableHeight = 0;  ///< of larger pictures some were dropped; 0: no limit
};

/// Whether the box can decode what a representation says of its codecs and type. Any thread.
using CanDecode = std::function<bool(MediaKind kind, const Representation& representation)>;

/// The tracks of a presentation, played. Any thread. Handlers are called on the transfer thread; an
/// empty one removes the handler, and waits for a call that is under way on another thread.
class PresentationPlayback {
 public:
  virtual ~PresentationPlayback() = default;

  /// The newest version of the manifest.
  virtual std::shared_ptr<const Presentation> presentation() const = 0;
  /// The tracks of the period at `seconds`, without those that cannot be decoded.
  virtual std::vector<Track> tracksAt(double seconds) const = 0;

  /// What is not selected is not fetched. Readers of a kind whose selection changed go on with the
  /// new track after their next seek().
  virtual void select(const TrackSelection& selection) = 0;
  virtual TrackSelection selection() const = 0;

  /// Where to begin. Without either: where the manifest says, or its beginning, or the edge of a
  /// live presentation.
  struct Start {
    std::optional<double> seconds;
    std::optional<double> fraction;      ///< of the duration; means nothing while it is live
    std::optional<platform::Date> date;  ///< used where the media carry dates
  };
  /// Loads what the selected tracks need, and begins to fetch their first pieces. Without a
  /// selection it makes one: the picture, the default sound, no text. `ready` is called once, on
  /// the transfer thread, with the position to begin at, or with an error.
  virtual void prepare(
      const Start& start, const PlaybackLimits& limits,
      std::function<void(double seconds, std::optional<platform::Error> error)> ready) = 0;

  /// Null for a kind that is not selected, for sound that comes with the picture, and for text.
  virtual std::shared_ptr<TrackReader> reader(MediaKind kind) = 0;
  virtual void setLimits(const PlaybackLimits& limits) = 0;
  /// What is played at this time. Segments are kept and fetched around it. Cheap; called often.
  virtual void setPosition(double seconds) = 0;

  struct Timeline {
    double duration = TVSDurationIndefinite;
    bool isLive = false;
    std::vector<platform::TimeRange> seekable;
    std::vector<platform::TimeRange> loaded;  ///< of all selected tracks at once
    std::optional<platform::Date> date;       ///< civil time of `position`
    bool isLoadedToEnd = false;
  };
  virtual Timeline timeline(double position) const = 0;
  virtual std::optional<double> positionOf(platform::Date date) const = 0;

  /// Each piece of the selected text, all of whose bytes are there. `isFirst`: a seek or another
  /// selection came before it.
  virtual void whenText(std::function<void(const TrackPiece& piece, bool isFirst)> handler) = 0;
  /// Something in presentation(), tracksAt() or timeline() beside `loaded` has changed.
  virtual void whenChanged(std::function<void()> handler) = 0;
};

}  // namespace streaming
