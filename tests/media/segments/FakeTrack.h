#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "media/segments/TimestampOffsets.h"
#include "media/segments/TrackDemuxer.h"
#include "streaming/playback/TrackReader.h"

namespace testing_segments {

/// The bytes of a file; throws when there is none.
std::string fileContent(const std::string& path);
/// The content of a clip of TestMedia, which ffmpeg makes with `options` if they are given.
std::string clipBytes(const char* name, const char* options = nullptr);
std::shared_ptr<streaming::SegmentBytes> completeBytes(std::string_view bytes);

/// Pieces as a test lists them, then the end.
class FakeTrack final : public streaming::TrackReader {
 public:
  std::optional<streaming::TrackPiece> next(const streaming::ReadGate& gate) override;
  void seek(double) override {}
  void noteContent(const streaming::Representation&, streaming::PieceContent found) override {
    content = found;
  }

  /// Adds a segment behind the others; the caller may change it until it is read.
  streaming::TrackPiece& add(std::string_view media, double duration);
  /// The same with an initialization.
  streaming::TrackPiece& add(std::string_view initialization, std::string_view media,
                             double duration);

  std::shared_ptr<streaming::Representation> representation =
      std::make_shared<streaming::Representation>();
  std::deque<streaming::TrackPiece> pieces;
  double end = 0;                   ///< of the last segment
  streaming::PieceContent content;  ///< that the demuxer has told of

 private:
  std::uint64_t _number = 0;
};

/// What a demuxer tells, up to its end or a failure.
struct Told {
  struct Packet {
    double pts = 0;
    double dts = 0;
    double duration = 0;
    bool isKey = false;
    bool isDiscontinuous = false;
    bool isHidden = false;
    std::string bytes;
  };
  std::vector<Packet> video;
  std::vector<Packet> audio;
  std::vector<std::string> videoCaps;
  std::vector<std::string> audioCaps;
  std::vector<std::pair<double, double>> gaps;
  std::vector<std::pair<double, std::string>> tags;
  std::vector<std::string> events;
  std::optional<platform::Error> failure;
  bool hasEnded = false;
};

/// Reads all of `track`. Fails the test when times go backwards or are missing.
Told demuxed(const std::shared_ptr<FakeTrack>& track, media::TrackDemuxer::Setup setup = {});

/// An mp4 that is fragmented, cut into its initialization and its fragments.
struct CutMovie {
  std::string initialization;
  std::vector<std::string> fragments;
};
CutMovie cut(std::string_view movie);

}  // namespace testing_segments
