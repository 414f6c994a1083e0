#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>

#include "streaming/playback/PlaybackState.h"
#include "streaming/playback/TransferLog.h"
#include "streaming/playback/feeding/FeederHost.h"
#include "streaming/playback/feeding/TrackFeeder.h"
#include "streaming/playback/loading/ManifestLoader.h"

namespace streaming {

/// Loads a presentation: its manifests, and the segments of the selected tracks. Transfer thread
/// only.
class PresentationFeed final : private FeederHost {
 public:
  struct Setup {
    std::shared_ptr<TransferSource> source;
    std::shared_ptr<PlaybackState> state;
    std::shared_ptr<TransferLog> record;
    std::shared_ptr<Throughput> throughput;  ///< of this item; starts with that of previous items
    CanDecode canDecode;
    bool inheritsQuery = false;
    std::function<void()> entryStarted;
  };
  explicit PresentationFeed(Setup setup);
  ~PresentationFeed() override;
  PresentationFeed(const PresentationFeed&) = delete;
  PresentationFeed& operator=(const PresentationFeed&) = delete;

  using Begun = std::function<void(const std::optional<platform::Error>& error)>;
  /// `result` is the response to the request for the item's URL. `begun` is called once, when the
  /// manifest was parsed or has failed, unless the feed is closed before.
  void begin(ManifestType type, FetchResult result, Begun begun);

  using Ready = std::function<void(double seconds, std::optional<platform::Error> error)>;
  void prepare(const PresentationPlayback::Start& start, Ready ready);
  void select(const TrackSelection& selection);
  void setLimits(const PlaybackLimits& limits);
  /// Continues loading after the position or a reader has moved.
  void pump();
  /// Cancels all transfers.
  void close();

 private:
  std::shared_ptr<const Presentation> presentation() const override {
    return _manifest.presentation();
  }
  std::optional<platform::Error> manifestError() const override { return _manifest.error(); }
  const FetchTools& tools() const override { return _tools; }
  IndexStore& indexes() override { return _indexes; }
  const ServerClock& clock() const override { return _clock; }
  const Throughput& throughput() const override { return *_setup.throughput; }
  const CanDecode& canDecode() const override { return _setup.canDecode; }
  PlaybackLimits limits() const override { return _limits; }
  double position() const override { return _setup.state->position; }
  double startPosition() const override { return _setup.state->startPosition; }
  double otherBandwidth(MediaKind kind) const override;
  std::string audioGroup() const override;
  bool makeRoom(std::uint64_t bytes) override;
  bool isLeading(MediaKind kind) const override { return kind == _leadingKind(); }
  void representationChanged(MediaKind kind) override;
  void pieceBegan(MediaKind kind, const TrackPiece& piece) override;
  void pieceEnded(MediaKind kind) override;
  void lost(const std::string& url, const platform::Error& error) override;

  TrackFeeder& _feeder(MediaKind kind) { return *_feeders.at(static_cast<std::size_t>(kind)); }
  const TrackFeeder& _feeder(MediaKind kind) const {
    return *_feeders.at(static_cast<std::size_t>(kind));
  }
  struct Preparation {
    PresentationPlayback::Start start;
    Ready ready;
    bool isTimeAsked = false;
    bool hasTime = false;
  };

  MediaKind _leadingKind() const;
  void _manifestChanged();
  void _continuePreparing();
  bool _selectByDefault(double around);
  bool _loadTracks(double around);
  double _startOf(const PresentationPlayback::Start& start) const;
  void _startAt(double seconds);
  void _endPreparing(double seconds, std::optional<platform::Error> error);
  std::shared_ptr<const SegmentIndex> _leadingIndex(const Period& period);
  void _publish();
  void _deliverTexts();
  void _refreshWindow();

  const Setup _setup;
  ServerClock _clock;
  KeyStore _keys;
  InitializationStore _initializations;
  ThroughputMeter _meter;
  FetchTools _tools;
  IndexStore _indexes;
  ManifestLoader _manifest;
  std::array<std::unique_ptr<TrackFeeder>, 3> _feeders;
  PlaybackLimits _limits;
  TrackSelection _selection;
  bool _isSelected = false;
  Begun _begun;
  Preparation _preparation;
  bool _hasStarted = false;
  bool _isClosed = false;
  bool _isTextFirst = false;  // no piece was delivered since a seek
  double _refreshedAt = -1;   // position of the last update request
};

}  // namespace streaming
