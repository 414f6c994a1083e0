#include "media/color/DisplayMapping.h"

#include <algorithm>
#include <cmath>

namespace media {
namespace {

using Vector3 = std::array<double, 3>;
using Matrix3 = DisplayMapping::Matrix;

constexpr double kMaxLight = 10000;  // cd/m²; of PQ
constexpr double kHLGPeak = 1000;    // cd/m²; the nominal display of HLG
constexpr double kHLGSystemGamma = 1.2;
constexpr double kDisplayGamma = 2.4;
constexpr double kBT709LumaRed = 0.2126;
constexpr double kBT709LumaBlue = 0.0722;

// SMPTE ST 2084.
constexpr double kM1 = 2610.0 / 16384;
constexpr double kM2 = 2523.0 / 4096 * 128;
constexpr double kC1 = 3424.0 / 4096;
constexpr double kC2 = 2413.0 / 4096 * 32;
constexpr double kC3 = 2392.0 / 4096 * 32;

double lightOfPQ(double signal) {
  const double power = std::pow(signal, 1 / kM2);
  return std::pow(std::max(power - kC1, 0.0) / (kC2 - kC3 * power), 1 / kM1);
}

double signalOfPQ(double light) {
  const double power = std::pow(light, kM1);
  return std::pow((kC1 + kC2 * power) / (1 + kC3 * power), kM2);
}

/// Returns scene light from 0 to 1: the inverse of the OETF of BT.2100.
double sceneLightOfHLG(double signal) {
  constexpr double kA = 0.17883277;
  constexpr double kB = 1 - 4 * kA;
  constexpr double kC = 0.55991073;
  return signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - kC) / kA) + kB) / 12;
}

Matrix3 inverseOf(const Matrix3& m) {
  const auto minor = [&](std::size_t row, std::size_t column) {
    const std::size_t r1 = (row + 1) % 3;
    const std::size_t r2 = (row + 2) % 3;
    const std::size_t c1 = (column + 1) % 3;
    const std::size_t c2 = (column + 2) % 3;
    return m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
  };
  const double determinant = m[0][0] * minor(0, 0) + m[0][1] * minor(0, 1) + m[0][2] * minor(0, 2);
  Matrix3 inverse;
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t column = 0; column < 3; ++column)
      inverse[column][row] = minor(row, column) / determinant;
  return inverse;
}

Vector3 product(const Matrix3& m, const Vector3& v) {
  Vector3 result;
  for (std::size_t row = 0; row < 3; ++row)
    result[row] = m[row][0] * v[0] + m[row][1] * v[1] + m[row][2] * v[2];
  return result;
}

/// Returns the matrix from linear R, G and B to CIE XYZ.
Matrix3 toXYZ(const Chromaticities& primaries) {
  const auto xyz = [](const std::array<double, 2>& xy) {
    return Vector3{xy[0] / xy[1], 1, (1 - xy[0] - xy[1]) / xy[1]};
  };
  const Vector3 columns[] = {xyz(primaries.red), xyz(primaries.green), xyz(primaries.blue)};
  Matrix3 matrix;
  for (std::size_t row = 0; row < 3; ++row)
    for (std::size_t column = 0; column < 3; ++column) matrix[row][column] = columns[column][row];
  const Vector3 sums = product(inverseOf(matrix), xyz(primaries.white));
  for (Vector3& row : matrix)
    for (std::size_t column = 0; column < 3; ++column) row[column] *= sums[column];
  return matrix;
}

double fourthRoot(double x) { return std::sqrt(std::sqrt(x)); }

}  // namespace

/// The EETF of BT.2390 for a display with a black of 0.
class DisplayMapping::ToneCurve {
 public:
  /// The luminance of the mastering display, in cd/m².
  ToneCurve(double peak, double black)
      : _black(signalOfPQ(black / kMaxLight)),
        _range(signalOfPQ(peak / kMaxLight) - _black),
        _largest((signalOfPQ(kDisplayWhite / kMaxLight) - _black) / _range),
        _smallest((signalOfPQ(0) - _black) / _range) {}

  double operator()(double light) const {
    const double from = std::clamp((signalOfPQ(light) - _black) / _range, 0.0, 1.0);
    double to = _largest < 1 ? _roundOff(from) : from;
    to += _smallest * std::pow(1 - to, 4);
    return lightOfPQ(to * _range + _black);
  }

 private:
  /// A Hermite spline above the knee.
  double _roundOff(double from) const {
    const double knee = 1.5 * _largest - 0.5;
    if (from < knee) return from;
    const double t = (from - knee) / (1 - knee);
    const double t2 = t * t;
    const double t3 = t2 * t;
    return (2 * t3 - 3 * t2 + 1) * knee + (t3 - 2 * t2 + t) * (1 - knee) +
           (-2 * t3 + 3 * t2) * _largest;
  }

  // The range of the mastering display as PQ signals, and that of the display relative to it.
  double _black;
  double _range;
  double _largest;
  double _smallest;
};

template <typename Function>
void DisplayMapping::Table::set(Function function) {
  for (std::size_t step = 0; step <= kSteps; ++step)
    _values[step] = static_cast<float>(function(static_cast<double>(step) / kSteps));
}

double DisplayMapping::Table::operator()(double x) const {
  const double at = std::clamp(x, 0.0, 1.0) * kSteps;
  const auto step = std::min(static_cast<std::size_t>(at), kSteps - 1);
  const double part = at - static_cast<double>(step);
  return static_cast<double>(_values[step]) * (1 - part) +
         static_cast<double>(_values[step + 1]) * part;
}

DisplayMapping::DisplayMapping(const PictureColors& colors) : _colors(colors) {
  const Matrix source = toXYZ(colors.primaries);
  const Matrix fromXYZ = inverseOf(toXYZ(kBT709Primaries));
  for (std::size_t column = 0; column < 3; ++column) {
    const Vector3 mapped =
        product(fromXYZ, {source[0][column], source[1][column], source[2][column]});
    for (std::size_t row = 0; row < 3; ++row) _toBT709[row][column] = mapped[row];
  }

  constexpr double kToDisplay = kMaxLight / kDisplayWhite;
  const auto setGain = [&](const ToneCurve& curve) {
    _gain.set([&](double root) {
      // The gain of black does not matter, but must be a number.
      const double light = std::pow(std::max(root, 1e-4), 4);
      return kToDisplay * curve(light) / light;
    });
  };
  switch (colors.transfer) {
    case TransferFunction::BT1886:
      _light.set([](double x) { return std::pow(x, kDisplayGamma) / kToDisplay; });
      _gain.set([](double) { return kToDisplay; });
      break;
    case TransferFunction::PQ:
      _light.set(lightOfPQ);
      setGain(
          {std::clamp(colors.peak, kDisplayWhite, kMaxLight), std::clamp(colors.black, 0.0, 1.0)});
      break;
    case TransferFunction::HLG:
      _light.set([](double x) { return kHLGPeak / kMaxLight * sceneLightOfHLG(x); });
      _systemGain.set([](double root) {
        return std::pow(std::pow(root, 4) * kMaxLight / kHLGPeak, kHLGSystemGamma - 1);
      });
      setGain({kHLGPeak, 0});
      break;
  }
  _encoded.set([](double root) { return std::pow(root, 4 / kDisplayGamma); });
}

YCbCr DisplayMapping::map(const YCbCr& color) const {
  const double kr = _colors.lumaRed;
  const double kb = _colors.lumaBlue;
  const double kg = 1 - kr - kb;
  const double red = color.y + 2 * (1 - kr) * color.cr;
  const double blue = color.y + 2 * (1 - kb) * color.cb;
  const double green = (color.y - kr * red - kb * blue) / kg;
  const Vector3 light{_light(red), _light(green), _light(blue)};
  double gain = 1;
  if (_colors.transfer == TransferFunction::HLG)
    gain = _systemGain(fourthRoot(kr * light[0] + kg * light[1] + kb * light[2]));
  gain *= _gain(fourthRoot(gain * std::max({light[0], light[1], light[2]})));

  Vector3 shown = product(_toBT709, light);
  for (double& each : shown) each = _encoded(fourthRoot(std::max(gain * each, 0.0)));
  const double y = kBT709LumaRed * shown[0] + (1 - kBT709LumaRed - kBT709LumaBlue) * shown[1] +
                   kBT709LumaBlue * shown[2];
  return {y, (shown[2] - y) / (2 * (1 - kBT709LumaBlue)),
          (shown[0] - y) / (2 * (1 - kBT709LumaRed))};
}

}  // namespace media
