#pragma once

#include <memory>
#include <string>
#include <vector>

#include "streaming/playback/feeding/TrackFeeder.h"
#include "tests/streaming/playback/ScriptedTransfers.h"

namespace streaming::test {

/// A segment index with a fixed list.
class ListedSegments final : public SegmentIndex {
 public:
  explicit ListedSegments(std::vector<Segment> segments, bool isComplete = true)
      : _segments(std::move(segments)), _isComplete(isComplete) {}
  std::optional<Segment> at(double time) const override;
  std::optional<Segment> after(const Segment& previous) const override;
  std::optional<Segment> first(platform::Date now) const override;
  std::optional<Segment> last(platform::Date now) const override;
  bool isComplete() const override { return _isComplete; }

 private:
  const std::vector<Segment> _segments;
  const bool _isComplete;
};

/// `count` segments of `duration` seconds, from `start` on: "name/1", "name/2" …
std::vector<Segment> listSegments(const std::string& name, std::size_t count, double duration = 4,
                                  double start = 0, std::uint64_t firstNumber = 1);
std::shared_ptr<Representation> representationOf(const std::string& id, double bandwidth,
                                                 int height, std::vector<Segment> segments,
                                                 bool isComplete = true);
Track trackOf(MediaKind kind, const std::string& id,
              std::vector<std::shared_ptr<const Representation>> representations);
/// A presentation with one period.
std::shared_ptr<Presentation> presentationOf(std::vector<Track> tracks, double duration);

/// A scripted host of the feeders of a presentation.
class FeederFixture final : public FeederHost {
 public:
  FeederFixture();
  TrackFeeder& feeder(MediaKind kind) { return *_feeders.at(static_cast<std::size_t>(kind)); }
  TrackBuffer& buffer(MediaKind kind = MediaKind::Video) { return feeder(kind).buffer(); }
  /// Selects a track and starts at `seconds`.
  void begin(MediaKind kind, const std::string& track, double seconds);
  /// Like the video reader: seeks and runs the network.
  void seek(double seconds, MediaKind kind = MediaKind::Video);
  void pump();
  /// Advances virtual time.
  void advance(double seconds);
  /// The readable pieces, one line each: its kind, and its bytes with their state.
  std::vector<std::string> read(std::size_t most = 100, MediaKind kind = MediaKind::Video);
  /// Reads, moves the position and advances time, until `seconds` are played.
  std::vector<std::string> play(double seconds, MediaKind kind = MediaKind::Video);

  ScriptedTransfers network;
  std::shared_ptr<Presentation> media;
  Throughput measured;
  PlaybackLimits limited;
  double played = 0;
  double began = 0;
  std::uint64_t roomFor = std::uint64_t{48} * 1024 * 1024;
  std::string group;
  std::vector<std::string> errors;

 private:
  std::shared_ptr<const Presentation> presentation() const override { return media; }
  std::optional<platform::Error> manifestError() const override { return std::nullopt; }
  const FetchTools& tools() const override { return _tools; }
  IndexStore& indexes() override { return _indexes; }
  const ServerClock& clock() const override { return _clock; }
  const Throughput& throughput() const override { return measured; }
  const CanDecode& canDecode() const override { return _canDecode; }
  PlaybackLimits limits() const override { return limited; }
  double position() const override { return played; }
  double startPosition() const override { return began; }
  double otherBandwidth(MediaKind) const override { return 0; }
  std::string audioGroup() const override { return group; }
  bool makeRoom(std::uint64_t bytes) override;
  bool isLeading(MediaKind kind) const override { return kind == MediaKind::Video; }
  void representationChanged(MediaKind) override {}
  void pieceBegan(MediaKind, const TrackPiece&) override {}
  void pieceEnded(MediaKind) override {}
  void lost(const std::string& url, const platform::Error& error) override;

  ServerClock _clock{network};
  KeyStore _keys{network};
  InitializationStore _initializations{network, _keys};
  ThroughputMeter _meter{network, measured};
  FetchTools _tools{network, _keys, _initializations, _meter};
  IndexStore _indexes;
  CanDecode _canDecode;
  std::vector<std::unique_ptr<TrackFeeder>> _feeders;
};

/// A video track whose segments contain their own URLs.
void addVideoTrack(FeederFixture& fixture, std::size_t count, double duration = 4);

}  // namespace streaming::test
