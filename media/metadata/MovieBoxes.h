#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace media {

using BoxBytes = std::span<const std::uint8_t>;

/// Of a box, as a number: `boxType("moov")`.
constexpr std::uint32_t boxType(const char (&name)[5]) {
  std::uint32_t type = 0;
  for (std::size_t at = 0; at < 4; ++at) type = type << 8 | static_cast<unsigned char>(name[at]);
  return type;
}

/// Reads numbers and texts one after the other. What is not there is 0, or nothing, and isGood()
/// tells.
class BoxReader {
 public:
  explicit BoxReader(BoxBytes bytes) : _bytes(bytes) {}

  std::uint64_t number(std::size_t size);
  std::uint32_t number32() { return static_cast<std::uint32_t>(number(4)); }
  /// Up to a zero.
  std::string text();
  BoxBytes take(std::size_t size);
  /// Of a box that has one, past its flags.
  std::uint8_t version();
  BoxBytes rest() const { return _bytes; }
  bool isGood() const { return _isGood; }

 private:
  BoxBytes _bytes;
  bool _isGood = true;
};

/// Calls `take` for the content of each box of `type` in `bytes`.
template <typename Take>
void forEachBox(BoxBytes bytes, std::uint32_t type, const Take& take) {
  constexpr std::size_t kHeaderSize = 8;
  while (bytes.size() >= kHeaderSize) {
    BoxReader header(bytes);
    const std::uint32_t size = header.number32();
    if (size < kHeaderSize || size > bytes.size()) return;
    if (header.number32() == type) take(bytes.subspan(kHeaderSize, size - kHeaderSize));
    bytes = bytes.subspan(size);
  }
}

/// A track in a "moov".
struct MovieTrack {
  std::uint32_t number = 0;
  std::uint32_t timescale = 0;  ///< units a second
  std::uint32_t handler = 0;    ///< what it is of, such as boxType("text")
  BoxBytes content;             ///< the whole "trak"
};
/// At most 64.
std::vector<MovieTrack> tracksOf(BoxBytes movie);

/// Cuts an mp4 into its outermost boxes as its bytes come, and keeps those that matter. Of
/// everything else it looks at the headers alone.
///
/// Threads: one at a time.
class MovieBoxes {
 public:
  using Take = std::function<void(std::uint32_t type, BoxBytes content)>;
  /// The longest one of a type that is taken, in bytes with its header; 0 for none.
  using Limit = std::uint64_t (*)(std::uint32_t type);
  MovieBoxes(Limit limit, Take take) : _limit(limit), _take(std::move(take)) {}

  void feed(BoxBytes bytes);
  /// Other bytes follow, from the beginning of a box.
  void restart();
  /// Of the box that is being taken, what has not come; 0 where none is.
  std::size_t missing() const;
  std::uint32_t type() const { return _type; }

 private:
  void _beginBox();
  void _takeBox();

  const Limit _limit;
  const Take _take;
  std::vector<std::uint8_t> _box;  // its header, and all of it where it matters
  std::size_t _headerSize = 0;
  std::uint64_t _boxSize = 0;  // 0: its header has not come
  std::uint32_t _type = 0;
  std::uint64_t _skip = 0;
};

}  // namespace media
