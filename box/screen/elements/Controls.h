#pragma once

#include <string>

#include "box/screen/drawing/Canvas.h"
#include "platform/ui/scene/Geometry.h"

/// What several elements have in common.
namespace box {

/// What is left of `frame` inside the part of the screen that no television cuts off.
platform::Rect safePart(const platform::Rect& frame);

/// The mark of what has the focus: bright, with a ring around it.
void drawFocus(Canvas& canvas, const platform::Rect& place, double radius, float alpha);

/// A button with its words in its middle.
void drawButton(Canvas& canvas, const std::string& title, platform::TextStyle style,
                const platform::Rect& place, bool focused, float alpha);

/// A centred text of a card, in lines of about one length.
struct CardText {
  TextRun run;
  double width = 0;  ///< of its longest line
  double height = 0;
};
/// Within `width` and at most `height`, cut off beyond.
CardText layOutCardText(Canvas& canvas, const std::string& text, platform::TextStyle style,
                        platform::Color color, double width, double height);
void drawCardText(Canvas& canvas, const CardText& text, double middleX, double top, float alpha);

}  // namespace box
