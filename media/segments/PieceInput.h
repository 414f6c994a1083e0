#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>

#include "media/segments/MovieCheck.h"
#include "streaming/playback/SegmentBytes.h"

struct AVIOContext;

namespace media {

/// Concatenates several byte sources, which may still be loading, to a file that libavformat reads.
///
/// Threads: one at a time.
class PieceInput {
 public:
  PieceInput();
  ~PieceInput();
  PieceInput(const PieceInput&) = delete;
  PieceInput& operator=(const PieceInput&) = delete;

  void append(std::shared_ptr<const streaming::SegmentBytes> bytes, std::uint64_t skip = 0);
  /// `more` is called at the end of the last part. It returns true if it has appended another one.
  void setMoreHandler(std::function<bool()> more) { _more = std::move(more); }
  /// Calls `tap` with every byte from part `index` on, once and in order.
  void setTap(std::size_t index, std::function<void(std::span<const std::uint8_t>)> tap);
  /// Lets libavformat seek. All parts have to be readable at any position.
  void setSeekable();
  /// The parts are an MP4, which is checked. Reading fails once it is rejected.
  void checkMovie() { _movieCheck.emplace(); }

  AVIOContext* context() { return _context; }
  /// Sets the gate of later reads; it has to outlive them.
  void setGate(const streaming::ReadGate* gate) { _gate = gate; }

  std::uint64_t startOfLastPart() const { return _parts.empty() ? 0 : _parts.back().start; }
  bool hasFailed() const { return _hasFailed; }

 private:
  struct Part {
    std::shared_ptr<const streaming::SegmentBytes> bytes;
    std::uint64_t skip = 0;
    std::uint64_t start = 0;
  };
  int _read(std::span<std::uint8_t> into);
  bool _isAccepted(std::span<const std::uint8_t> bytes);
  std::int64_t _seek(std::int64_t offset, int whence);
  std::uint64_t _lengthOf(const Part& part) const;

  AVIOContext* _context = nullptr;
  const streaming::ReadGate* _gate = nullptr;
  std::deque<Part> _parts;  // without parts that are not needed any more
  std::size_t _current = 0;
  std::uint64_t _position = 0;
  bool _hasFailed = false;
  std::optional<MovieCheck> _movieCheck;
  std::function<bool()> _more;
  std::size_t _tapIndex = 0;
  std::uint64_t _tappedTo = 0;
  std::function<void(std::span<const std::uint8_t>)> _tap;
};

}  // namespace media
