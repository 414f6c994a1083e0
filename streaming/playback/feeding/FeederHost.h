#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "streaming/choice/Throughput.h"
#include "streaming/playback/PresentationPlayback.h"
#include "streaming/playback/loading/IndexStore.h"
#include "streaming/playback/loading/PieceFetch.h"
#include "streaming/playback/loading/ServerClock.h"

namespace streaming {

/// What the feeders of the tracks of one presentation know of it and of each other. Transfer thread
/// only.
class FeederHost {
 public:
  virtual ~FeederHost() = default;
  virtual std::shared_ptr<const Presentation> presentation() const = 0;
  /// Why there will be no newer one.
  virtual std::optional<platform::Error> manifestError() const = 0;
  virtual const FetchTools& tools() const = 0;
  virtual IndexStore& indexes() = 0;
  virtual const ServerClock& clock() const = 0;
  virtual const Throughput& throughput() const = 0;
  virtual const CanDecode& canDecode() const = 0;
  virtual PlaybackLimits limits() const = 0;
  /// What is played now, and where playing began or was sought to last.
  virtual double position() const = 0;
  virtual double startPosition() const = 0;
  /// Bits a second of the other tracks that are fetched.
  virtual double bandwidthBeside(MediaKind kind) const = 0;
  /// Of the variant whose picture is fetched; empty: any.
  virtual std::string audioGroup() const = 0;
  /// Whether `bytes` more can be held, after what is far from the position was dropped.
  virtual bool makeRoom(std::uint64_t bytes) = 0;
  /// It leads the choice: the picture, or else the sound.
  virtual bool isLeading(MediaKind kind) const = 0;

  // What feeders tell:
  virtual void representationChanged(MediaKind kind) = 0;
  /// The first bytes of a piece have come.
  virtual void pieceBegan(MediaKind kind, const TrackPiece& piece) = 0;
  /// A piece has come whole, or is a gap, or the track has ended.
  virtual void pieceEnded(MediaKind kind) = 0;
  virtual void lost(const std::string& url, const platform::Error& error) = 0;
};

}  // namespace streaming
