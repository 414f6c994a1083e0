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

/// Pieces that one demuxer of libavformat reads as one file: a single one, or consecutive ones of a
/// transport stream.
///
/// Threads: one.
class SegmentRun {
 public:
  struct Setup {
    bool wantsEvents = false;  ///< whole `emsg` boxes are collected
    bool wantsTags = false;    ///< so are tags of ID3 in transport streams
    /// Called where a transport stream may go on: adds the next piece by extend(), or false.
    std::function<bool()> more;
  };
  /// Waits for the bytes that tell the form and the streams. Null: the piece cannot be read, or
  /// `gate` is closed. The piece's form is then in `form`, if it was told. `gate` outlives the run.
  static std::unique_ptr<SegmentRun> open(const streaming::TrackPiece& piece, Setup setup,
                                          const streaming::ReadGate& gate,
                                          std::optional<MediaForm>& form);

  MediaContainer& container() { return *_container; }
  MediaForm form() const { return _container->form(); }
  bool hasFailed() const { return _input.hasFailed(); }
  /// A long piece that was sought far behind its beginning: the container can go there. Taken once.
  std::optional<double> takeJump() { return std::exchange(_jump, std::nullopt); }
  void setGate(const streaming::ReadGate& gate) { _input.setGate(&gate); }

  /// Whether `next` continues the newest piece in the same file.
  bool isContinuedBy(const streaming::TrackPiece& next) const;
  void extend(const streaming::TrackPiece& piece);
  /// The piece in which the byte at `position` lies; negative: unknown, the newest.
  const streaming::TrackPiece& pieceAt(std::int64_t position);
  const streaming::TrackPiece& newestPiece() const { return _pieces.back().second; }
  std::uint64_t pieceCount() const { return _pieceCount; }

  /// Of packed audio: the time stamp in its tag, in units of 1/90000 s.
  std::optional<std::int64_t> tagTimestamp() const { return _tagTimestamp; }
  /// Tags before packed audio that say more than a time stamp. Taken once.
  std::vector<std::string> takeTags() { return std::exchange(_tags, {}); }
  /// Tags in a transport stream with their times, in units of 1/90000 s.
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
  std::unique_ptr<MediaContainer> _container;                           // before _input
  std::deque<std::pair<std::uint64_t, streaming::TrackPiece>> _pieces;  // by their first bytes
  std::uint64_t _pieceCount = 1;
  std::optional<double> _jump;
  std::optional<std::int64_t> _tagTimestamp;
  std::vector<std::string> _tags;
  std::unique_ptr<TransportMetadata> _metadata;
  std::vector<std::pair<std::int64_t, std::string>> _streamTags;
  std::vector<std::string> _events;
};

}  // namespace media
