#include "media/segments/ContainerFormat.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "media/metadata/MovieBoxes.h"

namespace media {
namespace {

using Head = std::span<const std::uint8_t>;

constexpr std::size_t kTagHeaderSize = 10;
constexpr std::uint64_t kLongestTag = std::uint64_t{1} << 20;
constexpr std::size_t kMaxBoxes = 64;

bool headBegins(Head head, std::string_view with) {
  return head.size() >= with.size() &&
         std::equal(with.begin(), with.end(), head.begin(),
                    [](char a, std::uint8_t b) { return static_cast<std::uint8_t>(a) == b; });
}

bool isMovieHead(Head head) {
  if (head.size() < 8) return false;
  constexpr std::string_view kTypes[] = {"ftyp", "styp", "moov", "moof", "sidx", "ssix",
                                         "emsg", "free", "skip", "mdat", "prft", "wide",
                                         "uuid", "pdin", "meta", "mfra"};
  return std::any_of(std::begin(kTypes), std::end(kTypes),
                     [&](std::string_view type) { return headBegins(head.subspan(4), type); });
}

/// Looks for the sync bytes of packets of 188 bytes, or of 192 bytes with a time stamp in front.
bool isTransportHead(Head head) {
  constexpr std::uint8_t kSync = 0x47;
  constexpr std::size_t kMaxGarbage = 1024;
  for (std::size_t at = 0; at < std::min(head.size(), kMaxGarbage); ++at) {
    if (head[at] != kSync) continue;
    for (const std::size_t size : {188U, 192U}) {
      const bool isSecond = at + size < head.size() && head[at + size] == kSync;
      const bool isThird = at + 2 * size >= head.size() || head[at + 2 * size] == kSync;
      if (isSecond && isThird) return true;
    }
    if (at == 0 && head.size() == 188) return true;
  }
  return false;
}

std::optional<ContainerFormat> audioFormat(Head head) {
  if (head.size() < 6) return std::nullopt;
  if (head[0] == 0xff && (head[1] & 0xf6) == 0xf0) return ContainerFormat::ADTS;
  if (head[0] == 0x56 && (head[1] & 0xe0) == 0xe0) return ContainerFormat::LATM;
  if (head[0] == 0x0b && head[1] == 0x77)
    return head[5] >> 3 > 10 ? ContainerFormat::EAC3 : ContainerFormat::AC3;
  const bool isMPEGAudio = head[0] == 0xff && (head[1] & 0xe0) == 0xe0 && (head[1] & 6) != 0 &&
                           (head[1] & 0x18) != 8 && head[2] >> 4 != 15 && (head[2] & 0xc) != 0xc;
  if (isMPEGAudio) return ContainerFormat::MPEGAudio;
  return std::nullopt;
}

}  // namespace

std::optional<ContainerFormat> containerFormatOf(std::span<const std::uint8_t> head) {
  if (isMovieHead(head)) return ContainerFormat::MP4;
  if (headBegins(head, "\x1a\x45\xdf\xa3") || headBegins(head, "\x1f\x43\xb6\x75"))
    return ContainerFormat::Matroska;
  if (headBegins(head, "fLaC")) return ContainerFormat::FLAC;
  if (headBegins(head, "OggS")) return ContainerFormat::Ogg;
  if (const auto format = audioFormat(head)) return format;
  if (isTransportHead(head)) return ContainerFormat::TransportStream;
  return std::nullopt;
}

const char* demuxerName(ContainerFormat format) {
  switch (format) {
    case ContainerFormat::MP4:
      return "mov";
    case ContainerFormat::TransportStream:
      return "mpegts";
    case ContainerFormat::Matroska:
      return "matroska";
    case ContainerFormat::ADTS:
      return "aac";
    case ContainerFormat::LATM:
      return "loas";
    case ContainerFormat::AC3:
      return "ac3";
    case ContainerFormat::EAC3:
      return "eac3";
    case ContainerFormat::MPEGAudio:
      return "mp3";
    case ContainerFormat::FLAC:
      return "flac";
    case ContainerFormat::Ogg:
      return "ogg";
  }
  return "";
}

bool isPackedAudio(ContainerFormat format) {
  return format == ContainerFormat::ADTS || format == ContainerFormat::LATM ||
         format == ContainerFormat::AC3 || format == ContainerFormat::EAC3 ||
         format == ContainerFormat::MPEGAudio;
}

std::size_t readFully(const streaming::SegmentBytes& bytes, std::uint64_t offset,
                      std::span<std::uint8_t> into, const streaming::ReadGate& gate) {
  std::size_t done = 0;
  while (done < into.size()) {
    const std::size_t got =
        bytes.read(offset + done, std::as_writable_bytes(into.subspan(done)), gate);
    if (got == 0) break;
    done += got;
  }
  return done;
}

bool isIndexLast(const streaming::SegmentBytes& bytes, const streaming::ReadGate& gate) {
  std::uint64_t at = 0;
  for (std::size_t count = 0; count < kMaxBoxes; ++count) {
    std::array<std::uint8_t, 16> head{};
    if (readFully(bytes, at, std::span(head).first(8), gate) < 8) return false;
    BoxReader reader(head);
    std::uint64_t size = reader.number32();
    const std::uint32_t type = reader.number32();
    if (type == boxType("mdat")) return true;
    if (type == boxType("moov") || type == boxType("moof")) return false;
    if (size == 1) {
      if (readFully(bytes, at, head, gate) < head.size()) return false;
      size = reader.number(8);
    }
    constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 40;
    if (size < 8 || size > kMaxBytes) return false;
    at += size;
  }
  return false;
}

std::uint64_t lengthOfID3Tags(const streaming::SegmentBytes& bytes,
                              const streaming::ReadGate& gate) {
  std::uint64_t at = 0;
  std::array<std::uint8_t, kTagHeaderSize> head{};
  while (at < kLongestTag && readFully(bytes, at, std::span(head).first(3), gate) == 3 &&
         headBegins(head, "ID3") && readFully(bytes, at, head, gate) == head.size()) {
    std::uint64_t size = kTagHeaderSize;
    for (std::size_t index = 6; index < kTagHeaderSize; ++index)
      size += static_cast<std::uint64_t>(head[index] & 0x7f) << 7 * (kTagHeaderSize - 1 - index);
    const bool hasFooter = (head[5] & 0x10) != 0;
    at += size + (hasFooter ? kTagHeaderSize : 0);
  }
  return at;
}

}  // namespace media
