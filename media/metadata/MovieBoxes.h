#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace media {

using BoxBytes = std::span<const std::uint8_t>;

/// Returns the type of a box as a number: `boxType("moov")`.
constexpr std::uint32_t boxType(std::string_view name) {
  std::uint32_t type = 0;
  for (const char each : name) type = type << 8 | static_cast<unsigned char>(each);
  return type;
}

/// Reads numbers and texts one by one. Reads beyond the end return 0 or nothing and make isGood()
/// false.
class BoxReader {
 public:
  explicit BoxReader(BoxBytes bytes) : _bytes(bytes) {}

  std::uint64_t number(std::size_t size);
  std::uint32_t number32() { return static_cast<std::uint32_t>(number(4)); }
  /// Reads up to a zero byte.
  std::string text();
  BoxBytes take(std::size_t size);
  /// Reads the version and the flags of a full box. Returns the version.
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

/// The same for a path of types, such as "mdia/minf/stbl".
template <typename Take>
void forEachBox(BoxBytes bytes, std::string_view path, const Take& take) {
  const std::size_t slash = path.find('/');
  forEachBox(bytes, boxType(path.substr(0, slash)), [&](BoxBytes content) {
    if (slash == path.npos)
      take(content);
    else
      forEachBox(content, path.substr(slash + 1), take);
  });
}

/// A track in a "moov".
struct MovieTrack {
  std::uint32_t number = 0;
  std::uint32_t timescale = 0;  ///< units a second
  std::uint32_t handler = 0;    ///< handler type, such as boxType("text")
  BoxBytes content;             ///< the whole "trak"
};
/// Returns at most 64 tracks.
std::vector<MovieTrack> tracksOf(BoxBytes movie);

/// Splits an MP4 into its top-level boxes while its bytes arrive. Passes boxes of some types on; of
/// all others it reads only the headers.
///
/// Threads: one at a time.
class MovieBoxes {
 public:
  using Take = std::function<void(std::uint32_t type, BoxBytes content)>;
  /// Returns the largest size of a box of this type, with its header, that is passed on; 0: none.
  using Limit = std::uint64_t (*)(std::uint32_t type);
  MovieBoxes(Limit limit, Take take) : _limit(limit), _take(std::move(take)) {}

  void feed(BoxBytes bytes);
  /// Call it before bytes from another position, which have to begin with a box.
  void restart();
  /// Returns how many bytes of the current box have not arrived; 0 if there is none.
  std::size_t missingBytes() const;
  std::uint32_t type() const { return _type; }

 private:
  void _beginBox();
  void _takeBox();

  const Limit _limit;
  const Take _take;
  std::vector<std::uint8_t> _box;  // the header, or the whole box if it is to be passed on
  std::size_t _headerSize = 0;
  std::uint64_t _boxSize = 0;  // 0: the header is incomplete
  std::uint32_t _type = 0;
  std::uint64_t _skip = 0;
};

}  // namespace media
