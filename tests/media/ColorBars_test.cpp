// Colors on the screen, compared with the definitions of the standards. Each clip has bars of known
// colors.

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using RGB = std::array<double, 3>;

constexpr int kBars = 8;
constexpr double kTolerance = 3.0 / 255;
constexpr double kDisplayWhite = 203;  // cd/m²

/// How the colors of a bar become signals.
enum class Coding { BT709, BT2020, PQ, HLG };

struct Matrix {
  double red, blue;
};
constexpr Matrix kMatrix601{0.299, 0.114};
constexpr Matrix kMatrix709{0.2126, 0.0722};
constexpr Matrix kMatrix2020{0.2627, 0.0593};

struct Clip {
  const char* name;
  const char* options;
  int bits;
  bool fullRange;
  Coding coding;
  Matrix matrix;
  // The signals on the screen for gray of 100 and of 203 cd/m². They are the values of the EETF in
  // BT.2390. Darker bars are below its knee.
  double of100 = 0;
  double of203 = 0;
};
void PrintTo(const Clip& clip, std::ostream* out) { *out << clip.name; }

constexpr Clip kClips[] = {
    {"bars_601.mp4",
     "-c:v libx264 -crf 1 -color_primaries smpte170m -color_trc smpte170m -colorspace smpte170m", 8,
     false, Coding::BT709, kMatrix601},
    {"bars_709.mp4",
     "-c:v libx264 -crf 1 -color_primaries bt709 -color_trc bt709 -colorspace bt709", 8, false,
     Coding::BT709, kMatrix709},
    {"bars_709_full.mkv",
     "-c:v libx264 -crf 1 -color_primaries bt709 -color_trc bt709 -colorspace bt709 -color_range "
     "pc",
     8, true, Coding::BT709, kMatrix709},
    {"bars_709_full_h264.mp4",
     "-c:v libx264 -crf 1 -color_primaries bt709 -color_trc bt709 -colorspace bt709 -color_range "
     "pc",
     8, true, Coding::BT709, kMatrix709},
    {"bars_709_full_h265.mp4",
     "-tag:v hvc1 -c:v libx265 -x265-params log-level=error:lossless=1:colorprim=bt709:"
     "transfer=bt709:colormatrix=bt709:range=full -color_primaries bt709 -color_trc bt709"
     " -colorspace bt709 -color_range pc",
     8, true, Coding::BT709, kMatrix709},
    {"bars_709_10.mkv",
     "-c:v libx265 -x265-params log-level=error:lossless=1:colorprim=bt709:transfer=bt709:"
     "colormatrix=bt709",
     10, false, Coding::BT709, kMatrix709},
    {"bars_2020.mkv",
     "-c:v libx265 -x265-params log-level=error:lossless=1:colorprim=bt2020:transfer=bt2020-10:"
     "colormatrix=bt2020nc",
     10, false, Coding::BT2020, kMatrix2020},
    {"bars_pq.mp4",
     "-tag:v hvc1 -c:v libx265 -x265-params log-level=error:lossless=1:colorprim=bt2020:"
     "transfer=smpte2084:colormatrix=bt2020nc",
     10, false, Coding::PQ, kMatrix2020, 0.7425, 0.9033},
    {"bars_pq_4000.mkv",
     "-c:v libx265 -x265-params log-level=error:lossless=1:colorprim=bt2020:transfer=smpte2084:"
     "colormatrix=bt2020nc:hdr10=1:'master-display=G(13250,34500)B(7500,3000)R(34000,16000)"
     "WP(15635,16450)L(40000000,0)'",
     10, false, Coding::PQ, kMatrix2020, 0.6988, 0.8250},
    {"bars_hlg.mkv",
     "-c:v libx265 -x265-params log-level=error:lossless=1:colorprim=bt2020:transfer=arib-std-b67:"
     "colormatrix=bt2020nc",
     10, false, Coding::HLG, kMatrix2020, 0.7425, 0.9033},
};

bool isHDR(const Clip& clip) { return clip.coding == Coding::PQ || clip.coding == Coding::HLG; }

/// The colors that the screen is to show.
std::array<RGB, kBars> shownColors(const Clip& clip) {
  if (!isHDR(clip))
    return {{{0, 0, 0},
             {1, 1, 1},
             {0.75, 0.75, 0.25},
             {0.25, 0.75, 0.75},
             {0.25, 0.75, 0.25},
             {0.75, 0.25, 0.75},
             {0.75, 0.25, 0.25},
             {0.25, 0.25, 0.75}}};
  const double of100 = clip.of100;
  const double of203 = clip.of203;
  return {{{0, 0, 0},
           {0.1, 0.1, 0.1},
           {of100, of100, of100},
           {of203, of203, of203},
           {0.5, 0.3, 0.3},
           {0.3, 0.5, 0.3},
           {0.3, 0.3, 0.5},
           {0.5, 0.5, 0.3}}};
}

/// The light of a bar, in cd/m² and BT.709.
RGB lightOf(const Clip& clip, std::size_t bar) {
  if (isHDR(clip) && bar == 2) return {100, 100, 100};
  if (isHDR(clip) && bar == 3) return {203, 203, 203};
  RGB light = shownColors(clip)[bar];
  for (double& each : light) each = kDisplayWhite * std::pow(each, 2.4);
  return light;
}

/// ITU-R BT.2087.
RGB inBT2020(const RGB& light) {
  const auto [r, g, b] = light;
  return {0.6274 * r + 0.3293 * g + 0.0433 * b, 0.0691 * r + 0.9195 * g + 0.0114 * b,
          0.0164 * r + 0.0880 * g + 0.8956 * b};
}

double pqSignal(double light) {
  const double power = std::pow(light / 10000, 2610.0 / 16384);
  return std::pow((0.8359375 + 18.8515625 * power) / (1 + 18.6875 * power), 78.84375);
}

/// The OETF of BT.2100.
double hlgSignal(double scene) {
  return scene <= 1.0 / 12 ? std::sqrt(3 * scene)
                           : 0.17883277 * std::log(12 * scene - 0.28466892) + 0.55991073;
}

RGB signalsOf(const Clip& clip, std::size_t bar) {
  if (clip.coding == Coding::BT709) return shownColors(clip)[bar];
  RGB light = inBT2020(lightOf(clip, bar));
  const double luminance = 0.2627 * light[0] + 0.6780 * light[1] + 0.0593 * light[2];
  for (double& each : light) {
    if (clip.coding == Coding::BT2020)
      each = std::pow(each / kDisplayWhite, 1 / 2.4);
    else if (clip.coding == Coding::PQ)
      each = pqSignal(each);
    else if (luminance > 0)  // the inverse of the system gamma of 1.2 on a display of 1000 cd/m²
      each = hlgSignal(each / 1000 * std::pow(luminance / 1000, 1 / 1.2 - 1));
  }
  return light;
}

/// The options that draw the bars over the test picture, and encode them.
std::string optionsOf(const Clip& clip) {
  std::array<std::ostringstream, 3> planes;
  for (std::size_t bar = 0; bar < kBars; ++bar) {
    const RGB rgb = signalsOf(clip, bar);
    const auto& matrix = clip.matrix;
    const double y =
        matrix.red * rgb[0] + (1 - matrix.red - matrix.blue) * rgb[1] + matrix.blue * rgb[2];
    const double differences[] = {(rgb[2] - y) / (2 - 2 * matrix.blue),
                                  (rgb[0] - y) / (2 - 2 * matrix.red)};
    const int unit = 1 << (clip.bits - 8);
    const int top = clip.fullRange ? (1 << clip.bits) - 1 : 0;
    planes[0] << "if(lt(X," << (bar + 1) * 40 << "),"
              << std::lround(clip.fullRange ? top * y : unit * (16 + 219 * y)) << ",";
    for (std::size_t i = 0; i < 2; ++i)
      planes[i + 1] << "if(lt(X," << (bar + 1) * 20 << "),"
                    << std::lround(128 * unit +
                                   (clip.fullRange ? top : unit * 224) * differences[i])
                    << ",";
  }
  std::string options = "-filter_complex \"[0:v]format=yuv";
  options += clip.fullRange ? "j420p" : clip.bits == 8 ? "420p" : "420p10le";
  constexpr const char* kNames[] = {",geq=lum", ":cb", ":cr"};
  for (std::size_t plane = 0; plane < 3; ++plane)
    options += std::string(kNames[plane]) + "='" + planes[plane].str() + "0" +
               std::string(kBars, ')') + "'";
  return options + "[v]\" -map '[v]' -t 0.4 " + clip.options;
}

/// The mean color of the inner part of a bar, as the screen converts it.
RGB seenColor(const media::VideoFrame& frame, int bar) {
  const auto mean = [&](std::size_t plane, std::size_t offset, std::size_t step) {
    const auto columns = plane == 0 ? 40 : 20;
    const auto rows = plane == 0 ? 180 : 90;
    double sum = 0;
    int count = 0;
    for (int y = rows / 4; y < rows * 3 / 4; ++y)
      for (int x = bar * columns + columns / 4; x < bar * columns + columns * 3 / 4; ++x, ++count)
        sum += frame.planes[plane].data[static_cast<std::size_t>(y) * frame.planes[plane].stride +
                                        static_cast<std::size_t>(x) * step + offset];
    return sum / count;
  };
  const bool interleaved = frame.format == media::VideoFormat::NV12;
  const double luma = mean(0, 0, 1);
  const double cb = mean(1, 0, interleaved ? 2 : 1) - 128;
  const double cr = interleaved ? mean(1, 1, 2) - 128 : mean(2, 0, 1) - 128;
  const auto& matrix = frame.matrix == media::VideoMatrix::BT601 ? kMatrix601 : kMatrix709;
  const double y = frame.fullRange ? luma / 255 : (luma - 16) / 219;
  const double scale = frame.fullRange ? 255 : 224;
  const double red = y + 2 * (1 - matrix.red) * cr / scale;
  const double blue = y + 2 * (1 - matrix.blue) * cb / scale;
  return {red, (y - matrix.red * red - matrix.blue * blue) / (1 - matrix.red - matrix.blue), blue};
}

class ColorBars : public testing::TestWithParam<Clip> {};

TEST_P(ColorBars, AreShownAsDefined) {
  const Clip& clip = GetParam();
  EngineHarness harness;
  platform::MediaLoad load;
  load.playing = false;
  harness.load(TestMedia::shared().url(clip.name, optionsOf(clip)), load);
  ASSERT_TRUE(harness.waitUntil([&] { return harness.frame() || harness.error(); }));
  ASSERT_FALSE(harness.error()) << harness.error()->description();
  const auto frame = harness.frame();
  const auto expected = shownColors(clip);
  for (int bar = 0; bar < kBars; ++bar) {
    const RGB seen = seenColor(*frame, bar);
    for (std::size_t i = 0; i < 3; ++i)
      EXPECT_NEAR(seen[i], expected[static_cast<std::size_t>(bar)][i], kTolerance)
          << "bar " << bar << ", channel " << i;
  }
}

std::string nameOfColorClip(const testing::TestParamInfo<Clip>& clip) {
  const std::string name = clip.param.name;
  return name.substr(0, name.find('.'));
}

INSTANTIATE_TEST_SUITE_P(All, ColorBars, testing::ValuesIn(kClips), nameOfColorClip);

}  // namespace
}  // namespace testing_media
