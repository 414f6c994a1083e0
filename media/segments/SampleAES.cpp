#include "media/segments/SampleAES.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "media/encryption/CommonEncryption.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace media {
namespace {

using Octets = std::span<std::uint8_t>;

constexpr std::size_t kBlock = 16;
constexpr std::size_t kClearSliceBytes = 32;
constexpr std::size_t kShortSlice = 48;  // shorter slices are not encrypted
constexpr std::size_t kSlicePattern = 10 * kBlock;
constexpr std::size_t kClearFrameBytes = 16;

class AccessUnitCipher {
 public:
  AccessUnitCipher(const platform::Bytes& key, const std::array<std::byte, kBlock>& initialVector)
      : _key(key) {
    _protection.scheme = SampleProtection::Scheme::CBCS;
    _protection.initialVector = initialVector;
  }

  bool decryptSlice(Octets slice) {
    std::size_t rest = slice.size() - kClearSliceBytes;
    // The last block is clear if no byte follows it.
    if (rest % kSlicePattern == kBlock) rest -= kBlock;
    _protection.encryptedBlocks = 1;
    _protection.clearBlocks = 9;
    return _decrypt(slice, kClearSliceBytes, rest);
  }
  bool decryptFrame(Octets frame, std::size_t clearBytes) {
    if (frame.size() <= clearBytes) return true;
    return _decrypt(frame, clearBytes, frame.size() - clearBytes);
  }

 private:
  bool _decrypt(Octets bytes, std::size_t clear, std::size_t encrypted) {
    _protection.parts = {
        {static_cast<std::uint32_t>(clear), static_cast<std::uint32_t>(encrypted)}};
    return decryptSample(std::as_writable_bytes(bytes), _key, _protection);
  }

  const platform::Bytes& _key;
  SampleProtection _protection;
};

std::vector<std::uint8_t> withoutEmulationPrevention(Octets slice) {
  std::vector<std::uint8_t> result;
  result.reserve(slice.size());
  std::size_t zeros = 0;
  for (const std::uint8_t each : slice) {
    const bool isPrevention = zeros >= 2 && each == 3;
    if (!isPrevention) result.push_back(each);
    zeros = each == 0 ? zeros + 1 : 0;
  }
  return result;
}

/// Returns the position after the next start code, or the size if there is none.
std::size_t afterStartCode(Octets bytes, std::size_t from) {
  constexpr std::array<std::uint8_t, 3> kStartCode{0, 0, 1};
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  const auto found = std::search(begin, bytes.end(), kStartCode.begin(), kStartCode.end());
  if (found == bytes.end()) return bytes.size();
  return static_cast<std::size_t>(found - bytes.begin()) + kStartCode.size();
}

bool decryptPicture(AVPacket& packet, AccessUnitCipher& cipher) {
  const Octets bytes(packet.data, static_cast<std::size_t>(packet.size));
  std::vector<std::uint8_t> clear;
  clear.reserve(bytes.size());
  std::size_t at = afterStartCode(bytes, 0);
  clear.insert(clear.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  while (at < bytes.size()) {
    const std::size_t next = afterStartCode(bytes, at);
    std::size_t end = next == bytes.size() ? next : next - 3;
    while (end > at && bytes[end - 1] == 0) --end;
    const Octets unit = bytes.subspan(at, end - at);
    const int type = unit.empty() ? 0 : unit[0] & 0x1f;
    if ((type == 1 || type == 5) && unit.size() > kShortSlice) {
      std::vector<std::uint8_t> slice = withoutEmulationPrevention(unit);
      if (slice.size() > kShortSlice && !cipher.decryptSlice(slice)) return false;
      clear.insert(clear.end(), slice.begin(), slice.end());
    } else {
      clear.insert(clear.end(), unit.begin(), unit.end());
    }
    clear.insert(clear.end(), bytes.begin() + static_cast<std::ptrdiff_t>(end),
                 bytes.begin() + static_cast<std::ptrdiff_t>(next));
    at = next;
  }
  std::copy(clear.begin(), clear.end(), packet.data);
  av_shrink_packet(&packet, static_cast<int>(clear.size()));
  return true;
}

bool decryptADTS(Octets frame, AccessUnitCipher& cipher) {
  if (frame.size() < 2 || frame[0] != 0xff) return false;
  const std::size_t header = (frame[1] & 1) != 0 ? 7 : 9;
  return cipher.decryptFrame(frame, header + kClearFrameBytes);
}

/// An access unit may have several frames.
bool decryptEnhancedAC3(Octets bytes, AccessUnitCipher& cipher) {
  while (bytes.size() >= 4) {
    const std::size_t size = (((bytes[2] & 7U) << 8 | bytes[3]) + 1) * 2;
    const Octets frame = bytes.first(std::min(size, bytes.size()));
    if (!cipher.decryptFrame(frame, kClearFrameBytes)) return false;
    bytes = bytes.subspan(frame.size());
  }
  return true;
}

}  // namespace

bool decryptSampleAES(AVPacket& packet, AVCodecID codec, const platform::Bytes& key,
                      const std::array<std::byte, 16>& initialVector) {
  if (av_packet_make_writable(&packet) < 0) return false;
  AccessUnitCipher cipher(key, initialVector);
  const Octets bytes(packet.data, static_cast<std::size_t>(packet.size));
  switch (codec) {
    case AV_CODEC_ID_H264:
      return decryptPicture(packet, cipher);
    case AV_CODEC_ID_AAC:
      return decryptADTS(bytes, cipher);
    case AV_CODEC_ID_AC3:
      return cipher.decryptFrame(bytes, kClearFrameBytes);
    case AV_CODEC_ID_EAC3:
      return decryptEnhancedAC3(bytes, cipher);
    default:
      return false;
  }
}

}  // namespace media
