#pragma once

namespace platform {

// All lengths are in points. The screen has 1920 by 1080 points; the renderer scales them to
// pixels.

inline constexpr double kScreenWidth = 1920;
inline constexpr double kScreenHeight = 1080;
/// The margin that a television may cut off (overscan), as a fraction of each dimension.
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

  Rect bounds() const { return {0, 0, width, height}; }
  friend bool operator==(const Rect&, const Rect&) = default;
};

inline constexpr Rect kScreenBounds{0, 0, kScreenWidth, kScreenHeight};

/// sRGB with straight alpha; components from 0 to 1.
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
