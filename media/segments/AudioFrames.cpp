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
  const std::size_t bytes = (frame[3] & 3u) << 11 | std::size_t{frame[4]} << 3 | frame[5] >> 5;
  return AudioFrame{((frame[6] & 3) + 1) * 1024, kRates[rate], bytes};
}

/// Kilobits a second of MPEG-1 layers 1 to 3, and of MPEG-2 layer 1, and layers 2 and 3.
constexpr std::array<std::array<int, 15>, 5> kBitrates{{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
}};

/// Returns 0 for a free or a wrong bitrate.
std::size_t mpegAudioBytes(Frame frame, int layer, bool isMPEG1, int samples, int rate) {
  const auto table = static_cast<std::size_t>(isMPEG1 ? layer - 1 : layer == 1 ? 3 : 4);
  const std::size_t index = frame[2] >> 4;
  if (index >= kBitrates[table].size()) return 0;
  const int padding = frame[2] >> 1 & 1;
  const int bits = kBitrates[table][index] * 1000;
  const int slot = layer == 1 ? 4 : 1;
  return static_cast<std::size_t>((samples / 8 / slot * bits / rate + padding) * slot) *
         (bits > 0 ? 1 : 0);
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
  const int hertz = kRates[rate] >> shift;
  return AudioFrame{samples, hertz, mpegAudioBytes(frame, layer, version == 3, samples, hertz)};
}

/// Returns 0 for a wrong code.
std::size_t ac3Bytes(Frame frame, std::size_t rate) {
  constexpr std::array<std::size_t, 19> kKilobits{32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                                  192, 224, 256, 320, 384, 448, 512, 576, 640};
  const std::size_t code = frame[4] & 0x3f;
  if (code / 2 >= kKilobits.size()) return 0;
  const std::size_t kilobits = kKilobits[code / 2];
  if (rate == 0) return kilobits * 4;
  if (rate == 2) return kilobits * 6;
  return 2 * (kilobits * 320 / 147 + code % 2);
}

std::size_t enhancedAC3Bytes(Frame frame) {
  return 2 * ((std::size_t{frame[2]} & 7) << 8 | frame[3]) + 2;
}

std::optional<AudioFrame> ac3Frame(Frame frame) {
  constexpr std::array<int, 3> kRates{48000, 44100, 32000};
  constexpr std::array<int, 4> kBlocks{1, 2, 3, 6};
  constexpr int kBlockSamples = 256;
  if (frame[0] != 0x0b || frame[1] != 0x77) return std::nullopt;
  const bool isEnhanced = frame[5] >> 3 > 10;
  const std::size_t rate = frame[4] >> 6;
  const std::size_t second = frame[4] >> 4 & 3;
  if (!isEnhanced) {
    if (rate == kRates.size()) return std::nullopt;
    return AudioFrame{kBlockSamples * 6, kRates[rate], ac3Bytes(frame, rate)};
  }
  // A dependent substream has more channels of the frame before.
  const bool isDependent = frame[2] >> 6 == 1;
  const std::size_t bytes = enhancedAC3Bytes(frame);
  if (rate < kRates.size())
    return AudioFrame{isDependent ? 0 : kBlockSamples * kBlocks[second], kRates[rate], bytes};
  if (second == kRates.size()) return std::nullopt;
  return AudioFrame{isDependent ? 0 : kBlockSamples * 6, kRates[second] / 2, bytes};
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
