#pragma once

#include <optional>
#include <string>

#include "platform/ui/views/View.h"

namespace platform {

/// A spinner that is visible while it animates. The renderer animates it, not the main thread. The
/// style determines the default size. Main thread.
class ActivityIndicatorView final : public View {
 public:
  static constexpr int kLargeStyle = 20;

  /// The frame has the default size of the style and is at the origin.
  explicit ActivityIndicatorView(int style);
  std::string className() const override { return "ActivityIndicatorView"; }
  static Size defaultSize(int style);

  int style() const { return _style; }
  /// Does nothing if the spinner animates already.
  void startAnimating();
  void stopAnimating();
  void setText(const std::string& text);
  bool isAnimating() const { return _started.has_value(); }
  /// Sets the frame: the default size, centered in `bounds` on integer coordinates.
  void centerIn(Rect bounds);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  const int _style;
  std::optional<TimePoint> _started;
  std::string _text;
};

}  // namespace platform
