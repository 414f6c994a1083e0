#include "media/segments/MediaForm.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "media/metadata/MovieBoxes.h"

namespace media {
namespace {

using Head = std::span<const std::uint8_t>;

constexpr std::size_t kTagHeaderSize = 10;
constexpr std::uint64_t kLongestTag = std::uint64_t{1} << 20;
constexpr std::size_t kMostBoxes = 64;

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
  constexpr std::size_t kMostGarbage = 1024;
  for (std::size_t at = 0; at < std::min(head.size(), kMostGarbage); ++at) {
    if (head[at] != kSync) continue;
    for (const std::size_t size : {188, 192}) {
      const bool isSecond = at + size < head.size() && head[at + size] == kSync;
      const bool isThird = at + 2 * size >= head.size() || head[at + 2 * size] == kSync;
      if (isSecond && isThird) return true;
    }
    if (at == 0 && head.size() == 188) return true;
  }
  return false;
}

std::optional<MediaForm> audioForm(Head head) {
  if (head.size() < 6) return std::nullopt;
  if (head[0] == 0xff && (head[1] & 0xf6) == 0xf0) return MediaForm::ADTS;
  if (head[0] == 0x56 && (head[1] & 0xe0) == 0xe0) return MediaForm::LATM;
  if (head[0] == 0x0b && head[1] == 0x77)
    return head[5] >> 3 > 10 ? MediaForm::EAC3 : MediaForm::AC3;
  const bool isMPEGAudio = head[0] == 0xff && (head[1] & 0xe0) == 0xe0 && (head[1] & 6) != 0 &&
                           (head[1] & 0x18) != 8 && head[2] >> 4 != 15 && (head[2] & 0xc) != 0xc;
  if (isMPEGAudio) return MediaForm::MPEGAudio;
  return std::nullopt;
}

}  // namespace

std::optional<MediaForm> mediaForm(std::span<const std::uint8_t> head) {
  if (isMovieHead(head)) return MediaForm::MP4;
  if (headBegins(head, "\x1a\x45\xdf\xa3") || headBegins(head, "\x1f\x43\xb6\x75"))
    return MediaForm::Matroska;
  if (headBegins(head, "fLaC")) return MediaForm::FLAC;
  if (headBegins(head, "OggS")) return MediaForm::Ogg;
  if (const auto form = audioForm(head)) return form;
  if (isTransportHead(head)) return MediaForm::TransportStream;
  return std::nullopt;
}

const char* demuxerName(MediaForm form) {
  switch (form) {
    case MediaForm::MP4:
      return "mov";
    case MediaForm::TransportStream:
      return "mpegts";
    case MediaForm::Matroska:
      return "matroska";
    case MediaForm::ADTS:
      return "aac";
    case MediaForm::LATM:
      return "loas";
    case MediaForm::AC3:
      return "ac3";
    case MediaForm::EAC3:
      return "eac3";
    case MediaForm::MPEGAudio:
      return "mp3";
    case MediaForm::FLAC:
      return "flac";
    case MediaForm::Ogg:
      return "ogg";
  }
  return "";
}

bool isPackedAudio(MediaForm form) {
  return form == MediaForm::ADTS || form == MediaForm::LATM || form == MediaForm::AC3 ||
         form == MediaForm::EAC3 || form == MediaForm::MPEGAudio;
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
  for (std::size_t count = 0; count < kMostBoxes; ++count) {
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
    constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 40;
    if (size < 8 || size > kMostBytes) return false;
    at += size;
  }
  return false;
}

std::uint64_t lengthOfTags(const streaming::SegmentBytes& bytes, const streaming::ReadGate& gate) {
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
