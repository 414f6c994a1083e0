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

/// Returns the bytes of a file; throws if it cannot be read.
std::string fileContent(const std::string& path);
/// Returns the bytes of a clip of TestMedia, which is made with the options of ffmpeg in `options`.
std::string clipBytes(const char* name, const char* options = nullptr);
std::shared_ptr<streaming::SegmentBytes> completeBytes(std::string_view bytes);

/// Returns the pieces that a test has added, then the end.
class FakeTrack final : public streaming::TrackReader {
 public:
  std::optional<streaming::TrackPiece> next(const streaming::ReadGate& gate) override;
  void seek(double) override {}
  void setContainedStreams(const streaming::Representation&,
                           streaming::ContainedStreams found) override {
    content = found;
  }

  /// Appends a segment. The caller may modify it until it is read.
  streaming::TrackPiece& add(std::string_view media, double duration);
  /// Appends a segment with an initialization segment.
  streaming::TrackPiece& add(std::string_view initialization, std::string_view media,
                             double duration);

  std::shared_ptr<streaming::Representation> representation =
      std::make_shared<streaming::Representation>();
  std::deque<streaming::TrackPiece> pieces;
  double end = 0;                       ///< of the last segment
  streaming::ContainedStreams content;  ///< as reported by the demuxer

 private:
  std::uint64_t _number = 0;
};

/// Everything that a demuxer outputs up to its end or a failure.
struct DemuxerOutput {
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

/// Reads all of `track`. Fails the test if times are missing or go backwards.
DemuxerOutput demuxed(const std::shared_ptr<FakeTrack>& track,
                      media::TrackDemuxer::Setup setup = {});

/// A fragmented MP4, split into its initialization segment and its fragments.
struct CutMovie {
  std::string initialization;
  std::vector<std::string> fragments;
};
CutMovie cut(std::string_view movie);

}  // namespace testing_segments
