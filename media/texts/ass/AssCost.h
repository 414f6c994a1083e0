#pragma once

#include <functional>
#include <string_view>

namespace media {

/// The properties of an ASS event that determine the size of its bitmaps, in script units.
struct AssLook {
  double size = 0;
  double scaleX = 1;
  double scaleY = 1;
  double spacing = 0;
  double border = 0;
  double blur = 0;
  bool isRotated = false;

  /// Takes the larger values of both.
  void include(const AssLook& other);
};

/// Returns the look of the style with this name, for "\r". An empty name means the style of the
/// event.
using AssStyleFinder = std::function<AssLook(std::string_view name)>;

/// Estimates how many pixels libass draws for the text of an event. libass draws shapes also where
/// they are not visible, and its own limits allow gigabytes for one letter.
///
/// The estimate assumes the largest value of each tag for the whole text. It is seldom too small,
/// and a few times too large for ordinary texts. `scale` is the number of pixels of a script unit.
///
/// Returns infinity for tags that are nested too deeply, because libass needs quadratic time for
/// them.
double estimatedPixels(std::string_view text, const AssStyleFinder& styleNamed, double scale);

}  // namespace media
