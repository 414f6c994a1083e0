#pragma once

#include <string>

#include "box/screen/drawing/Canvas.h"
#include "platform/ui/scene/Geometry.h"

/// Drawing functions that several elements share.
namespace box {

/// Returns the part of `frame` inside the safe area, which overscan does not cut off.
platform::Rect safePart(const platform::Rect& frame);

/// Draws a focused background with a ring.
void drawFocus(Canvas& canvas, const platform::Rect& place, double radius, float alpha);

void drawButton(Canvas& canvas, const std::string& title, platform::TextStyle style,
                const platform::Rect& place, bool focused, float alpha);

/// A centered text of a card with balanced lines.
struct CardText {
  TextRun run;
  double width = 0;  ///< of the longest line
  double height = 0;
};
/// Lays text out within `width` and at most `height`; excess text ends in an ellipsis.
CardText layOutCardText(Canvas& canvas, const std::string& text, platform::TextStyle style,
                        platform::Color color, double width, double height);
void drawCardText(Canvas& canvas, const CardText& text, double middleX, double top, float alpha);

}  // namespace box
