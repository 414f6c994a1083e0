#include "media/color/ColorMapper.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace media {
namespace {

constexpr unsigned kFraction = 6;  // bits of a result

/// Thresholds of a 2x2 ordered dither, in eighths.
constexpr std::uint32_t kDither[2][2] = {{1, 5}, {7, 3}};

// The samples of a layout, as codes of 10 bits.
struct Samples8 {
  using Sample = std::uint8_t;
  static std::size_t code(Sample sample) { return static_cast<std::size_t>(sample) << 2U; }
};
struct Samples10 {
  using Sample = std::uint16_t;
  static std::size_t code(Sample sample) { return std::min<std::size_t>(sample, 1023); }
};
struct Samples16 {
  using Sample = std::uint16_t;
  static std::size_t code(Sample sample) { return static_cast<std::size_t>(sample) >> 6U; }
};
template <typename Samples>
struct Planar : Samples {
  static constexpr std::size_t kChromaStep = 1;
};
template <typename Samples>
struct Interleaved : Samples {
  static constexpr std::size_t kChromaStep = 2;
};

}  // namespace

/// Interpolates between the four columns around a chroma sample.
class ColorMapper::Cell {
 public:
  Cell(ColorMapper& mapper, std::size_t cb, std::size_t cr) {
    const std::size_t left = cb >> kCellBits;
    const std::size_t top = cr >> kCellBits;
    _columns = {&mapper._column(left, top), &mapper._column(left, top + 1),
                &mapper._column(left + 1, top), &mapper._column(left + 1, top + 1)};
    constexpr auto kWhole = static_cast<std::uint32_t>(kCell);
    const auto u = static_cast<std::uint32_t>(cb) & (kWhole - 1);
    const auto v = static_cast<std::uint32_t>(cr) & (kWhole - 1);
    _weights = {(kWhole - u) * (kWhole - v), (kWhole - u) * v, u * (kWhole - v), u * v};
  }
  std::uint8_t luma(std::size_t code, std::uint32_t dither) const {
    return _blend(dither, [code](const Column& column) { return column.y[code]; });
  }
  std::uint8_t cb(std::size_t step, std::uint32_t dither) const {
    return _blend(dither, [step](const Column& column) { return column.chroma[step].cb; });
  }
  std::uint8_t cr(std::size_t step, std::uint32_t dither) const {
    return _blend(dither, [step](const Column& column) { return column.chroma[step].cr; });
  }

 private:
  template <typename Get>
  std::uint8_t _blend(std::uint32_t dither, Get get) const {
    constexpr unsigned kShift = 2 * kCellBits + kFraction;
    const std::uint32_t value = get(*_columns[0]) * _weights[0] + get(*_columns[1]) * _weights[1] +
                                get(*_columns[2]) * _weights[2] + get(*_columns[3]) * _weights[3];
    return static_cast<std::uint8_t>((value + (dither << (kShift - 3))) >> kShift);
  }

  std::array<const Column*, 4> _columns;
  std::array<std::uint32_t, 4> _weights;
};

ColorMapper::ColorMapper(const PictureColors& colors)
    : _mapping(colors), _fullRange(colors.fullRange), _columns(kPoints * kPoints) {}

inline const ColorMapper::Column& ColorMapper::_column(std::size_t cb, std::size_t cr) {
  auto& column = _columns[cb * kPoints + cr];
  if (!column) column = _compute(cb, cr);
  return *column;
}

std::unique_ptr<ColorMapper::Column> ColorMapper::_compute(std::size_t cb, std::size_t cr) const {
  const auto fixed = [](double value) {
    constexpr double kOne = 1U << kFraction;
    return static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, 255.0) * kOne));
  };
  const auto chroma = [&](std::size_t point) {
    return (static_cast<double>(point * kCell) - 512) / (_fullRange ? 1023 : 896);
  };
  auto column = std::make_unique<Column>();
  double before = 0;
  for (std::size_t step = 0; step < kSteps; ++step) {
    const auto code = static_cast<double>(step * kStep);
    const double y = _fullRange ? code / 1023 : (code - 64) / 876;
    const YCbCr mapped = _mapping.map({y, chroma(cb), chroma(cr)});
    column->chroma[step] = {fixed(128 + 224 * mapped.cb), fixed(128 + 224 * mapped.cr)};
    const double luma = 16 + 219 * mapped.y;
    for (std::size_t i = 1; step > 0 && i < kStep; ++i)
      column->y[(step - 1) * kStep + i] =
          fixed(before + (luma - before) * static_cast<double>(i) / kStep);
    column->y[step * kStep] = fixed(luma);
    before = luma;
  }
  return column;
}

template <typename Samples>
void ColorMapper::_convert(const Source& source, const Target& target) {
  static_assert(std::endian::native == std::endian::little);
  using Sample = typename Samples::Sample;
  const auto row = [&](std::size_t plane, std::size_t y) {
    return reinterpret_cast<const Sample*>(source.planes[plane] + y * source.strides[plane]);
  };
  const auto shownRow = [&](std::size_t plane, std::size_t y) {
    return target.planes[plane] + y * target.strides[plane];
  };
  const std::size_t pairs = (source.width + 1) / 2;
  for (std::size_t top = 0; top < source.height; top += 2) {
    const std::size_t below = std::min(top + 1, source.height - 1);
    const Sample* const upper = row(0, top);
    const Sample* const lower = row(0, below);
    const Sample* const us = row(1, top / 2);
    const Sample* const vs = Samples::kChromaStep == 2 ? us + 1 : row(2, top / 2);
    std::uint8_t* const shownUpper = shownRow(0, top);
    std::uint8_t* const shownLower = shownRow(0, below);
    std::uint8_t* const shownU = shownRow(1, top / 2);
    std::uint8_t* const shownV = shownRow(2, top / 2);
    for (std::size_t pair = 0; pair < pairs; ++pair) {
      const std::size_t left = 2 * pair;
      const std::size_t right = std::min(left + 1, source.width - 1);
      const std::size_t at = pair * Samples::kChromaStep;
      const Cell cell(*this, Samples::code(us[at]), Samples::code(vs[at]));
      const std::size_t codes[] = {Samples::code(upper[left]), Samples::code(upper[right]),
                                   Samples::code(lower[left]), Samples::code(lower[right])};
      shownUpper[left] = cell.luma(codes[0], kDither[0][0]);
      shownUpper[right] = cell.luma(codes[1], kDither[0][1]);
      shownLower[left] = cell.luma(codes[2], kDither[1][0]);
      shownLower[right] = cell.luma(codes[3], kDither[1][1]);
      const std::size_t step =
          (codes[0] + codes[1] + codes[2] + codes[3] + 2 * kStep) >> (kStepBits + 2);
      const std::uint32_t dither = kDither[top / 2 % 2][pair % 2];
      shownU[pair] = cell.cb(step, dither);
      shownV[pair] = cell.cr(step, dither);
    }
  }
}

void ColorMapper::convert(const Source& source, const Target& target) {
  if (source.width == 0 || source.height == 0) return;
  switch (source.layout) {
    case Layout::I420:
      return _convert<Planar<Samples8>>(source, target);
    case Layout::NV12:
      return _convert<Interleaved<Samples8>>(source, target);
    case Layout::I42010:
      return _convert<Planar<Samples10>>(source, target);
    case Layout::P010:
      return _convert<Interleaved<Samples16>>(source, target);
  }
}

}  // namespace media
