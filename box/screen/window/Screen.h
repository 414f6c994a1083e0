#pragma once

#include <memory>
#include <string_view>

#include "box/screen/drawing/ScreenOptions.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/MainQueue.h"
#include "platform/ui/scene/Screen.h"

namespace box {

/// Errors of open(): no display, or closed before it was open.
inline constexpr std::string_view kScreenErrorDomain = "TVSScreenErrorDomain";
enum class ScreenErrorCode : int { NoDisplay = 1, ClosedMeanwhile = 2 };

/// The box's display on SDL2: a window on whatever display there is, or pictures in memory.
///
/// Workflow: warmUp() once the process answers its callers, so that the first open() is quick;
/// without it, open() does the same work. A scene set while closed is shown by the next open();
/// close() forgets it.
///
/// Threads: main, as for every Screen. Drawing, events and fonts have a thread of
/// their own: no call here waits for it but the destructor, which waits for the frame in progress
/// and answers what is still open with an error, on a later turn of the queue. Lifetime: `queue`
/// and `clock` outlive it.
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

  /// Whether the display may go dark by itself while the screen is open. It may not from open() on
  /// until this says otherwise.
  void setKeepsDisplayOn(bool keepsOn);

  FrameStatistics statistics() const;

 private:
  struct State;
  const std::shared_ptr<State> _state;
};

}  // namespace box
