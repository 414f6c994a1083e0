#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/metadata/MovieBoxes.h"
#include "media/metadata/TransportMetadata.h"
#include "media/segments/MediaContainer.h"
#include "media/segments/PieceInput.h"
#include "media/segments/StreamClock.h"
#include "streaming/playback/TrackReader.h"

namespace media {

/// Pieces that one demuxer of libavformat reads as one file: a single piece, or consecutive pieces
/// of a transport stream.
///
/// Threads: one at a time.
class SegmentRun {
 public:
  struct Setup {
    bool wantsEvents = false;  ///< collect `emsg` boxes
    bool wantsTags = false;    ///< collect ID3 tags of transport streams
    /// Called at the end of the last piece of a transport stream. Appends the next piece with
    /// extend(), or returns false.
    std::function<bool()> more;
  };
  /// Blocks until the format and the streams are known. Returns null if the piece cannot be read or
  /// `gate` is closed; `format` then has the format if it was detected. `gate` has to outlive the
  /// run.
  static std::unique_ptr<SegmentRun> open(const streaming::TrackPiece& piece, Setup setup,
                                          const streaming::ReadGate& gate,
                                          std::optional<ContainerFormat>& format);

  MediaContainer& container() { return *_container; }
  ContainerFormat format() const { return _container->format(); }
  bool hasFailed() const { return _input.hasFailed(); }
  /// Returns the position to seek to in a long piece that is needed far after its beginning. Once.
  std::optional<double> takeSeekTarget() { return std::exchange(_seekTarget, std::nullopt); }
  void setGate(const streaming::ReadGate& gate) { _input.setGate(&gate); }

  /// Returns whether `next` can be read as a continuation of the newest piece.
  bool isContinuedBy(const streaming::TrackPiece& next) const;
  void extend(const streaming::TrackPiece& piece);
  /// Returns the piece with the byte at `position`. Negative: unknown, the newest piece.
  const streaming::TrackPiece& pieceAt(std::int64_t position);
  const streaming::TrackPiece& newestPiece() const { return _pieces.back().second; }
  std::uint64_t pieceCount() const { return _pieceCount; }

  /// The time stamp in the ID3 tag before packed audio, in units of 1/90000 s.
  std::optional<std::int64_t> tagTimestamp() const { return _tagTimestamp; }
  /// Returns and removes the ID3 tags before packed audio, except of those with only a time stamp.
  std::vector<std::string> takeTags() { return std::exchange(_tags, {}); }
  /// Returns and removes ID3 tags of a transport stream, with their times in units of 1/90000 s.
  std::vector<std::pair<std::int64_t, std::string>> takeStreamTags() {
    return std::exchange(_streamTags, {});
  }
  std::vector<std::string> takeEvents() { return std::exchange(_events, {}); }

 private:
  SegmentRun() = default;
  void _readTags(const streaming::SegmentBytes& bytes, std::uint64_t length,
                 const streaming::ReadGate& gate);
  void _collectEvents(std::size_t part);
  void _collectTags();

  PieceInput _input;
  std::unique_ptr<MovieBoxes> _boxes;
  std::unique_ptr<MediaContainer> _container;                           // destroyed before _input
  std::deque<std::pair<std::uint64_t, streaming::TrackPiece>> _pieces;  // by first position
  std::uint64_t _pieceCount = 1;
  std::optional<double> _seekTarget;
  std::optional<std::int64_t> _tagTimestamp;
  std::vector<std::string> _tags;
  std::unique_ptr<TransportMetadata> _metadata;
  std::vector<std::pair<std::int64_t, std::string>> _streamTags;
  std::vector<std::string> _events;
};

}  // namespace media
