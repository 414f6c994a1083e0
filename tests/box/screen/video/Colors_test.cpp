#include <algorithm>
#include <cmath>
#include <utility>

#include <gtest/gtest.h>

#include "tests/box/screen/Pictures.h"

namespace box::test {
namespace {

struct Kind {
  media::VideoMatrix matrix;
  bool fullRange;

  double red() const { return matrix == media::VideoMatrix::BT601 ? 0.299 : 0.2126; }
  double blue() const { return matrix == media::VideoMatrix::BT601 ? 0.114 : 0.0722; }
  double green() const { return 1 - red() - blue(); }
  double lumaSpan() const { return fullRange ? 255 : 219; }
  double chromaSpan() const { return fullRange ? 255 : 224; }
  double zero() const { return fullRange ? 0 : 16; }
};
constexpr Kind kKinds[]{{media::VideoMatrix::BT601, false},
                        {media::VideoMatrix::BT601, true},
                        {media::VideoMatrix::BT709, false},
                        {media::VideoMatrix::BT709, true}};

/// Encodes channels from 0 to 1 according to the standards.
MemoryFrame::Yuv encoded(const Kind& by, double red, double green, double blue) {
  const double luma = by.red() * red + by.green() * green + by.blue() * blue;
  const auto byte = [](double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
  };
  return {byte(by.zero() + luma * by.lumaSpan()),
          byte(128 + (blue - luma) / (2 * (1 - by.blue())) * by.chromaSpan()),
          byte(128 + (red - luma) / (2 * (1 - by.red())) * by.chromaSpan())};
}

Pixel decoded(const Kind& by, const MemoryFrame::Yuv& color) {
  const double luma = (color.y - by.zero()) / by.lumaSpan();
  const double red = luma + 2 * (1 - by.red()) * (color.v - 128) / by.chromaSpan();
  const double blue = luma + 2 * (1 - by.blue()) * (color.u - 128) / by.chromaSpan();
  const double green = (luma - by.red() * red - by.blue() * blue) / by.green();
  const auto level = [](double value) {
    return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
  };
  return {level(red), level(green), level(blue)};
}

TEST(Colors, AreConvertedByMatrixAndRange) {
  for (const Kind& kind : kKinds) {
    for (const double height : {1.0, 0.75, 0.4}) {
      for (int bar = 0; bar < 8; ++bar) {
        SCOPED_TRACE((kind.matrix == media::VideoMatrix::BT601 ? "601" : "709") +
                     std::string(kind.fullRange ? ", full, " : ", studio, ") + std::to_string(bar));
        const auto color =
            encoded(kind, bar & 1 ? height : 0, bar & 2 ? height : 0, bar & 4 ? height : 0);
        // The size is not a multiple of a block, and the last chroma pair is incomplete.
        const auto format = bar % 2 ? media::VideoFormat::NV12 : media::VideoFormat::I420;
        const auto frame = std::make_shared<MemoryFrame>(format, 71, 41, color);
        frame->matrix = kind.matrix;
        frame->fullRange = kind.fullRange;
        const Picture picture(sceneOf({VideoElement{videoOf(frame)}}), 71, 40);
        EXPECT_LE(picture.at(35, 20).distance(decoded(kind, color)), 1);
        EXPECT_LE(picture.at(69, 39).distance(decoded(kind, color)), 1);
        // The conversion for renderers without full-range support.
        StudioRange studio;
        const auto& planes = studio.convert(*frame);
        const std::size_t other = format == media::VideoFormat::NV12 ? 1 : 2;
        const std::size_t last = format == media::VideoFormat::NV12 ? 1 : 0;
        const Kind limited{kind.matrix, false};
        if (kind.fullRange) {
          EXPECT_LE(decoded(limited, {*planes[0].data, *planes[1].data, planes[other].data[last]})
                        .distance(decoded(kind, color)),
                    2);
        }
      }
    }
  }
}

}  // namespace
}  // namespace box::test
