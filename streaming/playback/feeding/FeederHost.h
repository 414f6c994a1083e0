#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/Error.h"
#include "streaming/choice/Throughput.h"
#include "streaming/playback/PresentationPlayback.h"
#include "streaming/playback/loading/IndexStore.h"
#include "streaming/playback/loading/SegmentFetch.h"
#include "streaming/playback/loading/ServerClock.h"

namespace streaming {

/// The interface of track feeders to their presentation. Transfer thread only.
class FeederHost {
 public:
  virtual ~FeederHost() = default;
  virtual std::shared_ptr<const Presentation> presentation() const = 0;
  /// The error that prevents updates of the manifest.
  virtual std::optional<platform::Error> manifestError() const = 0;
  virtual const FetchTools& tools() const = 0;
  virtual IndexStore& indexes() = 0;
  virtual const ServerClock& clock() const = 0;
  virtual const Throughput& throughput() const = 0;
  virtual const CanDecode& canDecode() const = 0;
  virtual PlaybackLimits limits() const = 0;
  /// The playback position, and that of the start or the last seek.
  virtual double position() const = 0;
  virtual double startPosition() const = 0;
  /// Bit rate of the other tracks that are loaded at the same time.
  virtual double otherBandwidth(MediaKind kind) const = 0;
  /// The audio group of the current variant; empty: any.
  virtual std::string audioGroup() const = 0;
  /// Evicts segments far from the position. True: `bytes` more fit into memory.
  virtual bool makeRoom(std::uint64_t bytes) = 0;
  /// The track determines the access log and the timeline: the video, or the audio without video.
  virtual bool isLeading(MediaKind kind) const = 0;

  virtual void representationChanged(MediaKind kind) = 0;
  /// The first bytes of a piece were received.
  virtual void pieceBegan(MediaKind kind, const TrackPiece& piece) = 0;
  /// A piece is complete or a gap, or the track has ended.
  virtual void pieceEnded(MediaKind kind) = 0;
  virtual void lost(const std::string& url, const platform::Error& error) = 0;
};

}  // namespace streaming
