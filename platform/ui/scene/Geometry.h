#pragma once

namespace platform {

// Lengths are points of a screen of 1920 by 1080, whatever its real size; the renderer scales.

inline constexpr double kScreenWidth = 1920;
inline constexpr double kScreenHeight = 1080;
/// What a television may cut off, as a fraction of each dimension.
inline constexpr double kSafeAreaFraction = 0.05;

struct Point {
  double x = 0;
  double y = 0;
  friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
  double width = 0;
  double height = 0;
  friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  /// The same size at the origin.
  Rect bounds() const { return {0, 0, width, height}; }
  friend bool operator==(const Rect&, const Rect&) = default;
};

inline constexpr Rect kScreenBounds{0, 0, kScreenWidth, kScreenHeight};

/// sRGB, not premultiplied, each 0 to 1.
struct Color {
  float red = 0;
  float green = 0;
  float blue = 0;
  float alpha = 1;
  friend bool operator==(const Color&, const Color&) = default;
};

inline constexpr Color kBlack{0, 0, 0, 1};
inline constexpr Color kWhite{1, 1, 1, 1};
inline constexpr Color kClear{0, 0, 0, 0};

}  // namespace platform
