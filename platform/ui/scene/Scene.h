#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/foundation/queues/Clock.h"
#include "platform/ui/scene/Geometry.h"

namespace platform {

class Layer;
class VideoOutput;

/// An opacity that changes by itself: the renderer evaluates it for each frame, so that an
/// animation needs nothing of the main thread.
struct AnimatedAlpha {
  float from = 1;
  float to = 1;
  TimePoint start{};
  Duration duration{};  ///< zero: `to` at once

  static AnimatedAlpha constant(float alpha) { return {alpha, alpha, {}, {}}; }
  /// Eased in and out.
  float at(TimePoint now) const;
  bool isRunning(TimePoint now) const { return from != to && now < start + duration; }
  friend bool operator==(const AnimatedAlpha&, const AnimatedAlpha&) = default;
};

// What a node shows. Each fills the node's frame unless it says otherwise.

struct FillElement {
  Color color;
  friend bool operator==(const FillElement&, const FillElement&) = default;
};

/// The newest picture of a player, at its own aspect, centred, black around it.
struct VideoElement {
  std::shared_ptr<VideoOutput> output;
  friend bool operator==(const VideoElement&, const VideoElement&) = default;
};

/// The newest picture of a layer, likewise.
struct LayerElement {
  std::shared_ptr<Layer> layer;
  friend bool operator==(const LayerElement&, const LayerElement&) = default;
};

/// What lies beneath, blurred and darkened.
struct BlurElement {
  friend bool operator==(const BlurElement&, const BlurElement&) = default;
};

enum class TextAlignment { Leading, Center, Trailing };
enum class TextStyle { Title, Headline, Body, Caption };

/// Wraps at the frame's width, ellipsised at its height. Leading is the side where the text's own
/// direction starts.
struct TextElement {
  std::string text;
  TextStyle style = TextStyle::Body;
  Color color = kWhite;
  TextAlignment alignment = TextAlignment::Leading;
  friend bool operator==(const TextElement&, const TextElement&) = default;
};

/// With `text`, such as a percentage, in its middle.
struct SpinnerElement {
  TimePoint started{};
  std::string text = {};
  friend bool operator==(const SpinnerElement&, const SpinnerElement&) = default;
};

/// A title, and below it a row of boxes with a character each. Title and row are centred as one
/// block. A longer text makes the row longer, up to the width of the safe area.
struct DigitsElement {
  std::string text;
  int boxes = 4;
  std::string title = {};
  Color titleColor = kWhite;
  friend bool operator==(const DigitsElement&, const DigitsElement&) = default;
};

struct AlertElement {
  std::string title;
  std::string message;
  std::vector<std::string> buttons;
  std::size_t focusedButton = 0;
  friend bool operator==(const AlertElement&, const AlertElement&) = default;
};

enum class TransportState { Loading, Playing, Paused, ScanningForward, ScanningBackward };

/// At the bottom of the frame: a shade from edge to edge, and inside the safe area title, state,
/// bar and times.
struct TransportBarElement {
  std::string title;
  TransportState state = TransportState::Loading;
  double rate = 1;                 ///< shown while scanning
  double elapsed = 0;              ///< seconds
  std::optional<double> duration;  ///< seconds; none: live or unknown
  bool live = false;
  std::vector<std::pair<double, double>> loaded;  ///< fractions of the duration, start and end
  std::vector<double> chapters = {};              ///< where they begin, fractions of the duration
  /// The state in the user's language, where there is a word to say; empty: none.
  std::string stateText = {};
  /// While the remote looks for a place (skips that pile up, scanning) its time is shown large.
  bool seeking = false;
  /// Seconds that the skips have moved the place, negative for back, and how a language writes it.
  double skipped = 0;
  std::string skipText = {};
  /// What the live badge says, in the user's language.
  std::string liveText = "LIVE";
  /// A stream that lags behind its live edge: the words of the button that goes there; empty: none.
  std::string goToLiveText = {};
  bool goToLiveFocused = false;
  friend bool operator==(const TransportBarElement&, const TransportBarElement&) = default;
};

/// A choice of one in a list, such as the language of the sound.
struct OptionListElement {
  std::string title;
  std::vector<std::string> options;
  std::optional<std::size_t> selected = {};  ///< the one in effect, marked
  std::optional<std::size_t> focused = {};   ///< none: the focus is elsewhere
  friend bool operator==(const OptionListElement&, const OptionListElement&) = default;
};

/// A panel above the lower edge of the frame, one list beside the other. A list longer than the
/// panel scrolls with its focus.
struct OptionPanelElement {
  std::vector<OptionListElement> lists;
  friend bool operator==(const OptionPanelElement&, const OptionPanelElement&) = default;
};

/// What there is to say in place of a picture: a plain sentence, and beneath it, smaller, what the
/// remote can do about it. In the middle of the frame, on a backing that makes it readable over
/// any picture.
struct MessageElement {
  std::string text;
  std::string hint = {};
  friend bool operator==(const MessageElement&, const MessageElement&) = default;
};

using SceneElement = std::variant<FillElement, VideoElement, LayerElement, BlurElement, TextElement,
                                  SpinnerElement, DigitsElement, AlertElement, TransportBarElement,
                                  OptionPanelElement, MessageElement>;

/// A view as it is to be drawn: its elements, then its children, all under one opacity.
struct SceneNode {
  Rect frame;  ///< in the scene's coordinates
  AnimatedAlpha alpha;
  std::vector<SceneElement> elements;
  std::vector<SceneNode> children;
  friend bool operator==(const SceneNode&, const SceneNode&) = default;
};

/// Everything on screen at one moment, back to front. Immutable once handed to a Screen; read on
/// the screen's own thread.
struct Scene {
  std::vector<SceneNode> nodes;
  friend bool operator==(const Scene&, const Scene&) = default;
};

/// `1:02:03` or `2:03`; negative and unknown times are `--:--`.
std::string clockText(double seconds);

}  // namespace platform
