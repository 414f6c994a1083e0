#include "media/durations/FlacSpan.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "media/durations/SpanBytes.h"
#include "media/metadata/MovieBoxes.h"

namespace media {
namespace {

constexpr std::string_view kFlacMarker = "fLaC";
constexpr std::size_t kStreamInfo = 8 + 18;  // up to the number of samples, with the marker
/// A frame is shorter, at usual sizes of blocks.
constexpr std::size_t kFlacTail = std::size_t{256} << 10;

struct FlacFormat {
  std::uint64_t blockSize = 0;  // samples; 0: varies
  double rate = 0;
};

std::uint8_t headerChecksum(BoxBytes bytes) {
  unsigned checksum = 0;
  for (const std::uint8_t each : bytes) {
    checksum ^= each;
    for (int bit = 0; bit < 8; ++bit)
      checksum = (checksum << 1 ^ (checksum & 0x80 ? 0x107 : 0)) & 0xffff;
  }
  return static_cast<std::uint8_t>(checksum);
}

/// Reads a number in the encoding of UTF-8, of up to seven bytes. 0 if it is damaged.
std::uint64_t codedNumber(BoxReader& reader) {
  const auto first = static_cast<unsigned>(reader.number(1));
  int length = 0;
  while (length < 8 && (first & 0x80u >> length) != 0) ++length;
  if (length == 0) return first;
  if (length == 1 || length == 8) return 0;
  std::uint64_t value = first & (0x7fu >> length);
  for (int index = 1; index < length; ++index) value = value << 6 | (reader.number(1) & 0x3f);
  return value;
}

struct FlacFrame {
  std::uint64_t start = 0;  // the first sample, counted from the start of the file
  std::uint64_t end = 0;
};

/// Returns nullopt if `bytes` do not begin with the header of a frame.
std::optional<FlacFrame> flacFrameAt(BoxBytes bytes, const FlacFormat& format) {
  BoxReader reader(bytes);
  const std::uint64_t sync = reader.number(2);
  const bool varies = sync == 0xfff9;
  if (!varies && sync != 0xfff8) return std::nullopt;
  const std::uint64_t codes = reader.number(2);
  const unsigned size = codes >> 12 & 0xf;
  const unsigned rate = codes >> 8 & 0xf;
  const std::uint64_t number = codedNumber(reader);
  std::uint64_t samples = 0;
  if (size == 1) samples = 192;
  if (size >= 2 && size <= 5) samples = 576u << (size - 2);
  if (size == 6 || size == 7) samples = reader.number(size - 5) + 1;
  if (size >= 8) samples = 256u << (size - 8);
  if (rate >= 12 && rate <= 14) reader.number(rate == 12 ? 1 : 2);
  const std::size_t length = bytes.size() - reader.rest().size();
  const std::uint64_t checksum = reader.number(1);
  if (!reader.isGood() || samples == 0 || checksum != headerChecksum(bytes.first(length)))
    return std::nullopt;
  // With a constant size, frames are counted.
  const std::uint64_t start = number * (varies ? 1 : format.blockSize);
  return FlacFrame{start, start + samples};
}

/// Returns the end of the last frame, or 0. Other bytes may look like the header of a frame, but
/// only a frame begins where another one ends.
std::uint64_t endOfFlac(const SpanBytes& bytes, const FlacFormat& format) {
  std::set<std::uint64_t> ends{0};
  std::uint64_t end = 0;
  for (BoxBytes tail = bytes; !tail.empty(); tail = tail.subspan(1)) {
    const auto frame = tail[0] == 0xff ? flacFrameAt(tail, format) : std::nullopt;
    if (!frame) continue;
    if (ends.contains(frame->start)) end = std::max(end, frame->end);
    ends.insert(frame->end);
  }
  return end;
}

}  // namespace

std::optional<double> durationOfFlac(const ReadBytes& read, std::uint64_t offset,
                                     std::uint64_t size) {
  const SpanBytes head = readWholeSpan(read, offset, kStreamInfo);
  BoxReader reader(head);
  for (const char each : kFlacMarker)
    if (reader.number(1) != static_cast<unsigned char>(each)) return std::nullopt;
  if ((reader.number(1) & 0x7f) != 0) return std::nullopt;  // not the stream information
  reader.take(3);
  FlacFormat format{.blockSize = reader.number(2)};
  reader.take(8);
  const std::uint64_t packed = reader.number(8);
  constexpr int kCountBits = 36;
  format.rate = static_cast<double>(packed >> 44);
  if ((packed & ((std::uint64_t{1} << kCountBits) - 1)) != 0 || format.rate == 0)
    return std::nullopt;
  const std::uint64_t end = endOfFlac(readTail(read, size, kFlacTail), format);
  return end > 0 ? std::optional(static_cast<double>(end) / format.rate) : std::nullopt;
}

}  // namespace media
