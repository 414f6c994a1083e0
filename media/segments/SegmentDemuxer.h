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
  struct Output {
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
  bool _isID3Stream(const AVStream& stream) const;
  void _reportContent(bool isPieceOver);
  Output* _outputFor(const AVStream& stream);
  bool _seekWithinPiece(const Output& output, const AVStream& stream, const AVPacket& packet);
  void _take(Output& output, const AVStream& stream, AVPacket& packet);
  bool _emitFormat(Output& output, const AVStream& stream, const AVPacket& packet);
  RawTimes _rawTimes(const AVStream& stream, const AVPacket& packet);
  std::optional<SegmentTiming> _timingFor(const Output& output, const RawTimes& raw,
                                          const streaming::TrackPiece& piece);
  std::int64_t _startOfPackedAudio(const streaming::TrackPiece& piece);
  double _offsetOfFirst(const RawTimes& raw, const streaming::TrackPiece& piece) const;
  void _emitMetadata();
  void _skipUnreadablePiece(const streaming::TrackPiece& piece,
                            std::optional<ContainerFormat> format);
  void _fail(platform::MediaErrorCode code, const char* reason);
  void _emitGap(double start, double end);
  void _warn(const char* what, const streaming::TrackPiece& piece);

  const Setup _setup;
  const int _track;
  SampleDecryption _decryption;
  std::array<Output, 2> _outputs;
  std::deque<ElementaryItem> _items;
  std::optional<platform::Error> _failure;
  const streaming::ReadGate* _gate = nullptr;       // of the current call
  std::optional<streaming::TrackPiece> _nextPiece;  // read, but not a continuation of the run
  bool _hasPacket = false;
  int _unreadablePieces = 0;  // number of pieces, while no packet was read
  std::chrono::steady_clock::time_point _nextWarning{};

  // State of the run.
  std::unique_ptr<SegmentRun> _run;
  std::size_t _streamCount = 0;    // number of streams seen by _chooseStreams()
  bool _hasPacketOfPiece = false;  // a packet of the newest piece was read
  bool _hasReportedContent = false;
  std::optional<double> _offset;           // seconds
  std::optional<std::int64_t> _reference;  // the newest time stamp, unwrapped
  std::int64_t _framePosition = 0;         // of packed audio, in units of the time base
};

}  // namespace media
