#pragma once

#include <memory>
#include <string>
#include <vector>

#include "streaming/playback/feeding/TrackFeeder.h"
#include "tests/streaming/playback/ScriptedTransfers.h"

namespace streaming::test {

/// Segments by hand.
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
/// One period.
std::shared_ptr<Presentation> presentationOf(std::vector<Track> tracks, double duration);

/// What surrounds the feeders of a presentation, by hand.
class FeederBench final : public FeederHost {
 public:
  FeederBench();
  TrackFeeder& feeder(MediaKind kind) { return *_feeders.at(static_cast<std::size_t>(kind)); }
  PieceShelf& shelf(MediaKind kind = MediaKind::Video) { return feeder(kind).shelf(); }
  /// Selects a track and begins at `seconds`.
  void begin(MediaKind kind, const std::string& track, double seconds);
  /// As the reader of the picture does: seeks, and lets the network do what it does at once.
  void seek(double seconds, MediaKind kind = MediaKind::Video);
  void pump();
  /// Lets time pass.
  void advance(double seconds);
  /// The pieces that can be read now, one line for each: what it is, where it comes from, and how
  /// its bytes are.
  std::vector<std::string> read(std::size_t most = 100, MediaKind kind = MediaKind::Video);
  /// Plays: reads, moves the position and lets time pass, until `seconds` are played.
  std::vector<std::string> play(double seconds, MediaKind kind = MediaKind::Video);

  ScriptedTransfers network;
  std::shared_ptr<Presentation> media;
  Throughput measured;
  PlaybackLimits limited;
  double played = 0;
  double began = 0;
  std::uint64_t roomFor = std::uint64_t{48} * 1024 * 1024;
  std::string group;
  std::vector<std::string> faults;

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
  double bandwidthBeside(MediaKind) const override { return 0; }
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

/// One picture track of segments that hold their own URLs.
void makeFilm(FeederBench& bench, std::size_t count, double duration = 4);

}  // namespace streaming::test
