#pragma once

#include "box/screen/drawing/Canvas.h"
#include "platform/ui/scene/Scene.h"

/// Drawing functions of the elements, except video and blur, which need more than a canvas. `alpha`
/// is the opacity of the element's ancestors.
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

/// Frames of the parts of the transport bar for a text scale.
struct TransportBarLayout {
  platform::Rect scrim;  ///< fades in above `seek`
  platform::Rect seek;   ///< the time that is shown while seeking
  platform::Rect title;  ///< includes the icon
  platform::Rect track;
  platform::Rect times;
};
TransportBarLayout transportBarLayout(const platform::Rect& frame, double textSize);

/// The content of the transport bar.
struct TransportBarTexts {
  std::string seekPosition;  ///< seek position of the remote; empty unless seeking
  std::string left;          ///< elapsed time
  std::string right;
  std::string rate;   ///< empty unless scanning
  double played = 0;  ///< fraction of the track
};
TransportBarTexts transportBarTexts(const platform::TransportBarElement& bar);

}  // namespace box
