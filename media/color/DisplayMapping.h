#pragma once

#include <array>
#include <cstddef>

namespace media {

enum class TransferFunction {
  BT1886,  ///< SDR
  PQ,      ///< SMPTE ST 2084
  HLG,     ///< ARIB STD-B67
};

/// CIE 1931 x and y of the primaries and of white.
struct Chromaticities {
  std::array<double, 2> red, green, blue, white;
  friend bool operator==(const Chromaticities&, const Chromaticities&) = default;
};
inline constexpr Chromaticities kBT709Primaries{
    {0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, {0.3127, 0.3290}};
inline constexpr Chromaticities kBT2020Primaries{
    {0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}, {0.3127, 0.3290}};

/// The colors of pictures in Y'CbCr.
struct PictureColors {
  TransferFunction transfer = TransferFunction::PQ;
  Chromaticities primaries = kBT2020Primaries;
  /// The parts of red and blue in Y'.
  double lumaRed = 0.2627;
  double lumaBlue = 0.0593;
  bool fullRange = false;
  /// Luminance of the mastering display in cd/m²; used for PQ.
  double peak = 1000;
  double black = 0;

  friend bool operator==(const PictureColors&, const PictureColors&) = default;
};

/// Y' from 0 to 1, Cb and Cr from -0.5 to 0.5.
struct YCbCr {
  double y, cb, cr;
};

/// Maps colors to those of an SDR display: BT.709 with a gamma of 2.4 (BT.1886).
///
/// The EETF of BT.2390 compresses the range of the mastering display to that of the display, whose
/// white is 203 cd/m² (reference white of BT.2408). It is applied to the largest of the three
/// linear channels, and the other two are scaled by the same factor, so that the hue stays. HLG is
/// first shown on a display of 1000 cd/m², for which the system gamma is 1.2. Colors outside of
/// BT.709 are clipped.
///
/// Threads: any.
class DisplayMapping {
 public:
  using Matrix = std::array<std::array<double, 3>, 3>;
  static constexpr double kDisplayWhite = 203;  ///< cd/m²

  explicit DisplayMapping(const PictureColors& colors);
  YCbCr map(const YCbCr& color) const;

 private:
  class ToneCurve;
  /// The values of a function of 0 to 1.
  class Table {
   public:
    template <typename Function>
    void set(Function function);
    double operator()(double x) const;

   private:
    static constexpr std::size_t kSteps = 4096;
    std::array<float, kSteps + 1> _values{};
  };

  PictureColors _colors;
  Matrix _toBT709;
  // Light is linear, and 1 is 10000 cd/m². The fourth root spreads dark colors over a table.
  Table _light;       // of a signal
  Table _systemGain;  // HLG: a factor by the fourth root of the luminance
  Table _gain;        // a factor by the fourth root of the largest channel, to light of the display
  Table _encoded;     // signal of the display by the fourth root of its light; 1 is white
};

}  // namespace media
