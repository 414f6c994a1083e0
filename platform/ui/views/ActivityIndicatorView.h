#pragma once

#include <optional>
#include <string>

#include "platform/ui/views/View.h"

namespace platform {

/// A spinner that shows only while it is started. Turning is the screen's work: a started spinner
/// costs the main thread nothing.
///
/// The style is one of the platform's numbers and decides the default size. Threads: main.
class ActivityIndicatorView final : public View {
 public:
  /// The large spinner, for a full screen.
  static constexpr int kLargeStyle = 20;

  /// Of the style's default size, at the origin.
  explicit ActivityIndicatorView(int style);
  std::string className() const override { return "ActivityIndicatorView"; }
  static Size defaultSize(int style);

  int style() const { return _style; }
  /// Starting a started one does not disturb its turning.
  void startAnimating();
  void stopAnimating();
  /// In its middle, such as a percentage.
  void setText(const std::string& text);
  bool isAnimating() const { return _started.has_value(); }
  /// Gives it its style's default size in the middle of `bounds`, on whole points.
  void centerIn(Rect bounds);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  const int _style;
  std::optional<TimePoint> _started;
  std::string _text;
};

}  // namespace platform
