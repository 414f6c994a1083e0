#include "box/screen/Elements.h"
#include "box/screen/Theme.h"

namespace box {

void drawElement(Canvas& canvas, const platform::MessageElement& message,
                 const platform::Rect& frame, float alpha) {
  const platform::TextElement text{.text = message.text,
                                   .style = platform::TextStyle::Headline,
                                   .alignment = platform::TextAlignment::Center};
  drawElement(canvas, text, frame, alpha);
}

}  // namespace box
