#pragma once

#include <array>
#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/segments/SampleDecryption.h"
#include "media/segments/SegmentRun.h"
#include "media/segments/StreamClock.h"
#include "media/segments/TrackDemuxer.h"

namespace media {

/// The TrackDemuxer that uses libavformat.
class SegmentDemuxer final : public TrackDemuxer {
 public:
  explicit SegmentDemuxer(Setup setup);
  std::optional<ElementaryItem> next(const streaming::ReadGate& gate) override;
  void reset() override;

 private:
  /// The state of an elementary stream that is output.
  struct Lane {
    ElementaryKind kind;
    bool isWanted;
    int stream = -1;                      ///< index of the AVStream; -1: none yet
    std::uint64_t lastPiece = 0;          ///< of the run, with packets of the stream
    std::vector<std::uint8_t> setup{};    ///< current codec data
    std::array<std::int64_t, 5> shape{};  ///< stream parameters that the caps depend on
    GstRef<GstCaps> caps{};               ///< last output caps
    bool isDiscontinuous = true;
    StreamClock clock{};
  };

  bool _beginPiece(const streaming::ReadGate& gate);
  void _beginRun(const streaming::TrackPiece& piece, const streaming::ReadGate& gate);
  bool _extendRun();
  void _endRun();
  void _readPacket(const streaming::ReadGate& gate);
  void _chooseStreams();
  bool _carriesTags(const AVStream& stream) const;
  void _tellContent(bool isPieceOver);
  Lane* _laneFor(const AVStream& stream);
  bool _jump(const Lane& lane, const AVStream& stream, const AVPacket& packet);
  void _take(Lane& lane, const AVStream& stream, AVPacket& packet);
  bool _tellFormat(Lane& lane, const AVStream& stream, const AVPacket& packet);
  RawTimes _rawTimes(const AVStream& stream, const AVPacket& packet);
  std::optional<ClockFrame> _frameFor(const Lane& lane, const RawTimes& raw,
                                      const streaming::TrackPiece& piece);
  std::int64_t _placeOfTag(const streaming::TrackPiece& piece);
  double _offsetOfFirst(const RawTimes& raw, const streaming::TrackPiece& piece) const;
  void _tellMetadata();
  void _giveUpPiece(const streaming::TrackPiece& piece, std::optional<MediaForm> form);
  void _fail(platform::MediaErrorCode code, const char* reason);
  void _tellGap(double start, double end);
  void _warn(const char* what, const streaming::TrackPiece& piece);

  const Setup _setup;
  const int _track;
  SampleDecryption _decryption;
  std::array<Lane, 2> _lanes;
  std::deque<ElementaryItem> _items;
  std::optional<platform::Error> _failure;
  const streaming::ReadGate* _gate = nullptr;     // of the current call
  std::optional<streaming::TrackPiece> _waiting;  // read, but not a continuation of the run
  bool _hadSomething = false;
  int _unreadable = 0;  // number of pieces, while no packet was read
  std::chrono::steady_clock::time_point _quietUntil{};

  // State of the run.
  std::unique_ptr<SegmentRun> _run;
  std::size_t _streamCount = 0;  // number of streams seen by _chooseStreams()
  bool _gaveSomething = false;   // a packet of the newest piece was read
  bool _hasToldContent = false;
  std::optional<double> _offset;           // seconds
  std::optional<std::int64_t> _reference;  // the newest time stamp, unwrapped
  std::int64_t _framePosition = 0;         // of packed audio, in units of the time base
};

}  // namespace media
