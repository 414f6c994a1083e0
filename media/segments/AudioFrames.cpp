#include "media/segments/AudioFrames.h"

#include <array>
#include <cstddef>

namespace media {
namespace {

using Frame = std::span<const std::uint8_t>;
constexpr std::size_t kLongestHeader = 7;

std::optional<AudioFrame> adtsFrame(Frame frame) {
  constexpr std::array<int, 13> kRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                       22050, 16000, 12000, 11025, 8000,  7350};
  if (frame[0] != 0xff || (frame[1] & 0xf6) != 0xf0) return std::nullopt;
  const std::size_t rate = frame[2] >> 2 & 0xf;
  if (rate >= kRates.size()) return std::nullopt;
  return AudioFrame{((frame[6] & 3) + 1) * 1024, kRates[rate]};
}

std::optional<AudioFrame> mpegAudioFrame(Frame frame) {
  constexpr std::array<int, 3> kRates{44100, 48000, 32000};
  const int version = frame[1] >> 3 & 3;  // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
  const int layer = 4 - (frame[1] >> 1 & 3);
  const std::size_t rate = frame[2] >> 2 & 3;
  if (frame[0] != 0xff || frame[1] < 0xe0 || version == 1 || layer == 4 || rate == kRates.size())
    return std::nullopt;
  const int samples = layer == 1 ? 384 : layer == 3 && version != 3 ? 576 : 1152;
  const int shift = version == 3 ? 0 : version == 2 ? 1 : 2;
  return AudioFrame{samples, kRates[rate] >> shift};
}

std::optional<AudioFrame> ac3Frame(Frame frame) {
  constexpr std::array<int, 3> kRates{48000, 44100, 32000};
  constexpr std::array<int, 4> kBlocks{1, 2, 3, 6};
  constexpr int kBlockSamples = 256;
  if (frame[0] != 0x0b || frame[1] != 0x77) return std::nullopt;
  const bool isEnhanced = frame[5] >> 3 > 10;
  const std::size_t rate = frame[4] >> 6;
  const std::size_t second = frame[4] >> 4 & 3;
  if (rate < kRates.size())
    return AudioFrame{kBlockSamples * (isEnhanced ? kBlocks[second] : 6), kRates[rate]};
  if (!isEnhanced || second == kRates.size()) return std::nullopt;
  return AudioFrame{kBlockSamples * 6, kRates[second] / 2};
}

}  // namespace

std::optional<AudioFrame> audioFrameOf(AVCodecID codec, std::span<const std::uint8_t> frame) {
  if (frame.size() < kLongestHeader) return std::nullopt;
  switch (codec) {
    case AV_CODEC_ID_AAC:
      return adtsFrame(frame);
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
      return mpegAudioFrame(frame);
    case AV_CODEC_ID_AC3:
    case AV_CODEC_ID_EAC3:
      return ac3Frame(frame);
    default:
      return std::nullopt;
  }
}

}  // namespace media
