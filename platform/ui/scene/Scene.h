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

/// An animated opacity. The renderer evaluates it for each frame, so animations do not use the main
/// thread.
struct AnimatedAlpha {
  float from = 1;
  float to = 1;
  TimePoint start{};
  Duration duration{};  ///< zero: no animation

  static AnimatedAlpha constant(float alpha) { return {alpha, alpha, {}, {}}; }
  /// Uses ease-in and ease-out.
  float at(TimePoint now) const;
  bool isRunning(TimePoint now) const { return from != to && now < start + duration; }
  friend bool operator==(const AnimatedAlpha&, const AnimatedAlpha&) = default;
};

// Elements of a node. An element fills the frame of its node unless noted otherwise.

struct FillElement {
  Color color;
  friend bool operator==(const FillElement&, const FillElement&) = default;
};

/// The newest video frame, centered at its aspect ratio on black.
struct VideoElement {
  std::shared_ptr<VideoOutput> output;
  friend bool operator==(const VideoElement&, const VideoElement&) = default;
};

struct LayerElement {
  std::shared_ptr<Layer> layer;
  friend bool operator==(const LayerElement&, const LayerElement&) = default;
};

/// Blurs and darkens the content below.
struct BlurElement {
  friend bool operator==(const BlurElement&, const BlurElement&) = default;
};

enum class TextAlignment { Leading, Center, Trailing };
enum class TextStyle { Title, Headline, Body, Caption };

/// Wrapped to the width of the frame and ellipsized at its height. TextAlignment::Leading is the
/// side where the writing direction of the text starts.
struct TextElement {
  std::string text;
  TextStyle style = TextStyle::Body;
  Color color = kWhite;
  TextAlignment alignment = TextAlignment::Leading;
  friend bool operator==(const TextElement&, const TextElement&) = default;
};

/// A spinner with `text`, such as a percentage, in its center.
struct SpinnerElement {
  TimePoint started{};
  std::string text = {};
  friend bool operator==(const SpinnerElement&, const SpinnerElement&) = default;
};

/// A title above a row of boxes with one character each, centered as one block. A longer text
/// extends the row up to the width of the safe area.
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

/// The transport bar at the bottom of the frame: a gradient across the full width, and the title,
/// state, progress bar and times inside the safe area.
struct TransportBarElement {
  std::string title;
  TransportState state = TransportState::Loading;
  double rate = 1;                 ///< shown while scanning
  double elapsed = 0;              ///< seconds
  std::optional<double> duration;  ///< seconds; std::nullopt: live or unknown
  bool live = false;
  std::vector<std::pair<double, double>> loaded;  ///< start and end as fractions of the duration
  std::vector<double> chapters = {};              ///< starts as fractions of the duration
  /// Localized state; may be empty.
  std::string stateText = {};
  /// Shows the elapsed time large, during skips and scans.
  bool seeking = false;
  /// The sum of the current skips in seconds (negative: backward), and its localized text.
  double skipped = 0;
  std::string skipText = {};
  std::string liveText = "LIVE";
  /// Localized text of the button that seeks to the live edge. Empty: no button.
  std::string goToLiveText = {};
  bool goToLiveFocused = false;
  friend bool operator==(const TransportBarElement&, const TransportBarElement&) = default;
};

/// A list with one selected option, such as the audio languages.
struct OptionListElement {
  std::string title;
  std::vector<std::string> options;
  std::optional<std::size_t> selected = {};  ///< has a check mark
  std::optional<std::size_t> focused = {};   ///< std::nullopt: the list has no focus
  friend bool operator==(const OptionListElement&, const OptionListElement&) = default;
};

/// A panel at the bottom of the frame with lists next to each other. A list that is longer than the
/// panel scrolls to its focus.
struct OptionPanelElement {
  std::vector<OptionListElement> lists;
  friend bool operator==(const OptionPanelElement&, const OptionPanelElement&) = default;
};

/// A message in the center of the frame, with a smaller hint below it. It has a background, so that
/// it is readable on any picture.
struct MessageElement {
  std::string text;
  std::string hint = {};
  friend bool operator==(const MessageElement&, const MessageElement&) = default;
};

using SceneElement = std::variant<FillElement, VideoElement, LayerElement, BlurElement, TextElement,
                                  SpinnerElement, DigitsElement, AlertElement, TransportBarElement,
                                  OptionPanelElement, MessageElement>;

/// A view in the scene: first its elements, then its children. The opacity applies to all of them.
struct SceneNode {
  Rect frame;  ///< in scene coordinates
  AnimatedAlpha alpha;
  std::vector<SceneElement> elements;
  std::vector<SceneNode> children;
  friend bool operator==(const SceneNode&, const SceneNode&) = default;
};

/// The contents of the screen, back to front. Immutable after Screen::setScene(), because the
/// screen reads it on its own thread.
struct Scene {
  std::vector<SceneNode> nodes;
  friend bool operator==(const Scene&, const Scene&) = default;
};

/// `1:02:03` or `2:03`; `--:--` for negative times and NaN.
std::string clockText(double seconds);

}  // namespace platform
