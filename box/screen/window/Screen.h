#pragma once

#include <memory>
#include <string_view>

#include "box/screen/drawing/ScreenOptions.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/MainQueue.h"
#include "platform/ui/scene/Screen.h"

namespace box {

/// Errors of open(): no display, or closed while opening.
inline constexpr std::string_view kScreenErrorDomain = "TVSScreenErrorDomain";
enum class ScreenErrorCode : int { NoDisplay = 1, ClosedMeanwhile = 2 };

/// The display of the box: an SDL2 window, or a surface in memory without a display.
///
/// Workflow: call warmUp() after startup, so that the first open() is fast. A scene that is set
/// while the screen is closed is shown by the next open(). close() releases the scene.
///
/// Thread: main. Drawing, events and fonts have a thread of their own, and no function waits for
/// it, except the destructor: it waits for the current frame and posts errors to pending
/// completions. `queue` and `clock` must outlive this object.
class Screen final : public platform::Screen {
 public:
  Screen(platform::MainQueue& queue, const platform::Clock& clock, ScreenOptions options);
  ~Screen() override;

  void warmUp();

  void open(std::function<void(std::optional<platform::Error>)> completion) override;
  void close() override;
  bool isOpen() const override;
  void setScene(std::shared_ptr<const platform::Scene> scene) override;
  void setInputHandler(std::function<void(const platform::InputEvent&)> handler) override;
  void setClosedHandler(std::function<void()> handler) override;
  void capture(std::function<void(std::shared_ptr<const platform::Bytes> png)> completion) override;

  /// Whether the screen saver is inhibited while the screen is open. open() inhibits it.
  void setKeepsDisplayOn(bool keepsOn);

  FrameStatistics statistics() const;

 private:
  struct State;
  const std::shared_ptr<State> _state;
};

}  // namespace box
