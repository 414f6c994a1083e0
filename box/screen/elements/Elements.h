#pragma once

#include "box/screen/drawing/Canvas.h"
#include "platform/ui/scene/Scene.h"

/// How each kind of element looks, but for video and blur, which need more than a canvas. `alpha`
/// is the opacity of everything above the element.
namespace box {

void drawElement(Canvas& canvas, const platform::FillElement& fill, const platform::Rect& frame,
                 float alpha);
void drawElement(Canvas& canvas, const platform::TextElement& text, const platform::Rect& frame,
                 float alpha);
void drawElement(Canvas& canvas, const platform::DigitsElement& digits, const platform::Rect& frame,
                 float alpha);
void drawElement(Canvas& canvas, const platform::AlertElement& alert, const platform::Rect& frame,
                 float alpha);
void drawElement(Canvas& canvas, const platform::OptionPanelElement& panel,
                 const platform::Rect& frame, float alpha);
void drawElement(Canvas& canvas, const platform::MessageElement& message,
                 const platform::Rect& frame, float alpha);
void drawElement(Canvas& canvas, const platform::TransportBarElement& bar,
                 const platform::Rect& frame, float alpha);

void drawElement(Canvas& canvas, const platform::SpinnerElement& spinner,
                 const platform::Rect& frame, platform::TimePoint now, float alpha);

/// Where the parts of the bar are in a frame, for a size of text.
struct TransportBarLayout {
  platform::Rect scrim;  ///< fades in above `seek`
  platform::Rect seek;   ///< the time that is shown while a place is looked for
  platform::Rect title;  ///< with the icon
  platform::Rect track;
  platform::Rect times;
};
TransportBarLayout transportBarLayout(const platform::Rect& frame, double textSize);

/// What the bar says and shows, apart from how.
struct TransportBarTexts {
  std::string place;  ///< where the remote looks; empty when it does not
  std::string left;   ///< otherwise, where the player is
  std::string right;
  std::string rate;   ///< empty unless scanning
  double played = 0;  ///< fraction of the track
};
TransportBarTexts transportBarTexts(const platform::TransportBarElement& bar);

}  // namespace box
