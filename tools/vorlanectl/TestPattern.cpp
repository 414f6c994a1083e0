#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "tools/vorlanectl/Arguments.h"
#include "tools/vorlanectl/PictureSource.h"

namespace vorlanectl {

namespace {

struct Yuv {
  std::uint8_t y, u, v;
};

/// 75 % color bars in BT.709: white, yellow, cyan, green, magenta, red, blue and black.
constexpr std::array<Yuv, 8> kBars{{{180, 128, 128},
                                    {168, 44, 136},
                                    {145, 147, 44},
                                    {133, 63, 52},
                                    {63, 193, 204},
                                    {51, 109, 212},
                                    {28, 212, 120},
                                    {16, 128, 128}}};

/// Movement per picture in pixels. Even, because two pixels share a chroma sample.
constexpr std::size_t kStep = 4;
constexpr std::uint8_t kWhite = 235;

class TestPattern final : public PictureSource {
 public:
  TestPattern(std::uint32_t patternWidth, std::uint32_t patternHeight, double patternRate) {
    width = patternWidth;
    height = patternHeight;
    rate = patternRate;
    // The pattern is stored twice, so that a full row can start at any offset.
    const std::size_t pairs = (width + 1) / 2;
    _period = 2 * pairs;
    _luma.resize(2 * _period);
    _chroma.resize(2 * _period);
    for (std::size_t pair = 0; pair < 2 * pairs; ++pair) {
      const Yuv& bar = kBars[pair % pairs * kBars.size() / pairs];
      _luma[2 * pair] = _luma[2 * pair + 1] = bar.y;
      _chroma[2 * pair] = bar.u;
      _chroma[2 * pair + 1] = bar.v;
    }
  }

  bool fill(const vorlane_frames_buffer& buffer) override {
    const std::size_t shift = _number * kStep % _period;
    const std::size_t line = _number * kStep % height;
    for (std::size_t row = 0; row < buffer.rows[0]; ++row) {
      std::uint8_t* const target = buffer.planes[0] + row * buffer.strides[0];
      if (row >= line && row < line + kStep) {
        std::memset(target, kWhite, width);
      } else {
        std::memcpy(target, _luma.data() + shift, width);
      }
    }
    for (std::size_t row = 0; row < buffer.rows[1]; ++row) {
      std::memcpy(buffer.planes[1] + row * buffer.strides[1], _chroma.data() + shift, _period);
    }
    return skip();
  }
  bool skip() override {
    ++_number;
    return true;
  }

 private:
  std::size_t _period = 0;
  std::vector<std::uint8_t> _luma;
  std::vector<std::uint8_t> _chroma;
  std::size_t _number = 0;
};

}  // namespace

std::unique_ptr<PictureSource> makeTestPattern(std::uint32_t width, std::uint32_t height,
                                               double rate) {
  const auto isPossible = [](std::uint32_t size) {
    return size > 0 && size <= VORLANE_FRAMES_MAXIMUM_SIZE;
  };
  if (!isPossible(width) || !isPossible(height)) throw UsageError("--size is not supported");
  return std::make_unique<TestPattern>(width, height, rate);
}

}  // namespace vorlanectl
