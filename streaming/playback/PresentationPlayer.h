#pragma once

#include <atomic>
#include <memory>

#include "streaming/playback/PlaybackState.h"
#include "streaming/playback/PresentationFeed.h"
#include "streaming/playback/PresentationPlayback.h"

namespace streaming {

/// PresentationPlayback that posts its work to a PresentationFeed on the transfer thread.
class PresentationPlayer final : public PresentationPlayback {
 public:
  struct Setup {
    std::shared_ptr<TransferSource> source;
    std::shared_ptr<TransferLog> record;
    std::shared_ptr<Throughput> throughput;
    CanDecode canDecode;
    bool inheritsQuery = false;
    std::function<void()> entryStarted;
  };
  /// Transfer thread.
  static std::shared_ptr<PresentationPlayer> make(Setup setup);
  ~PresentationPlayer() override;

  /// Transfer thread. `result` is the response to the request for the item's URL. `begun` is called
  /// once, on this thread.
  void begin(ManifestType type, FetchResult result, PresentationFeed::Begun begun = {});
  /// Transfer thread. Cancels all transfers.
  void end();
  TrackBuffer& buffer(MediaKind kind) const { return _state->buffer(kind); }

  std::shared_ptr<const Presentation> presentation() const override;
  std::vector<Track> tracksAt(double seconds) const override;
  void select(const TrackSelection& selection) override;
  TrackSelection selection() const override;
  void prepare(
      const Start& start, const PlaybackLimits& limits,
      std::function<void(double seconds, std::optional<platform::Error> error)> ready) override;
  std::shared_ptr<TrackReader> reader(MediaKind kind) override;
  void setLimits(const PlaybackLimits& limits) override;
  void setPosition(double seconds) override;
  Timeline timeline(double position) const override;
  std::optional<double> positionOf(platform::Date date) const override;
  void whenText(std::function<void(const TrackPiece& piece, bool isFirst)> handler) override;
  void whenChanged(std::function<void()> handler) override;

 private:
  class Waker;
  explicit PresentationPlayer(Setup setup);
  void _post(std::function<void(PresentationFeed&)> task);

  const std::shared_ptr<TransferSource> _source;
  const CanDecode _canDecode;
  const std::shared_ptr<PlaybackState> _state;
  std::shared_ptr<Waker> _waker;
  std::shared_ptr<PresentationFeed> _feed;  // null after the destructor has posted close()
  std::atomic<double> _pumpedPosition = -1;
};

}  // namespace streaming
