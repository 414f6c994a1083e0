#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "box/screen/drawing/ScreenOptions.h"
#include "box/screen/drawing/TextRenderer.h"
#include "box/screen/video/JudderMeter.h"
#include "box/screen/window/RefreshPace.h"
#include "box/screen/window/RetryDelay.h"
#include "box/screen/window/ScreenInput.h"
#include "box/screen/window/ScreenWaker.h"
#include "box/screen/window/ScreenWindow.h"
#include "box/screen/window/VideoSystem.h"
#include "media/output/VideoFrames.h"
#include "platform/foundation/Bytes.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/ui/scene/Scene.h"

namespace box {

/// The thread that uses SDL video, its events, the renderer and the fonts.
///
/// It executes queued commands and reports through callbacks. While the window is closed it sleeps
/// until a command arrives. While it is open it sleeps until a command, an input event, a new video
/// picture or the next frame of an animation, and draws at most once per display refresh.
///
/// If the display is lost while the window is open, the scene is kept, and opening is tried again
/// until it succeeds, at growing intervals. No event reports this.
///
/// Threads: all functions are thread-safe and do not block, except the destructor, which waits for
/// the current frame. Callbacks run on the screen's thread without locks held.
class ScreenThread {
 public:
  struct Events {
    /// Called once for each open(), with the reason on failure.
    std::function<void(std::uint64_t session, std::optional<std::string> failure)> opened;
    /// The window was closed by the user.
    std::function<void(std::uint64_t session)> closed;
    std::function<void(std::uint64_t session, const RemoteEvent& event)> input;
    /// Called once for each capture(); null without a window.
    std::function<void(std::uint64_t id, std::shared_ptr<const platform::Bytes> png)> captured;
  };

  ScreenThread(const platform::Clock& clock, ScreenOptions options, Events events);
  ~ScreenThread();
  ScreenThread(const ScreenThread&) = delete;
  ScreenThread& operator=(const ScreenThread&) = delete;

  /// Call it first. Returns false if the thread cannot be started; then the other functions do
  /// nothing.
  [[nodiscard]] bool start();
  /// `session` identifies the window in callbacks.
  void open(std::uint64_t session);
  /// Also releases the scene.
  void close();
  void setScene(std::shared_ptr<const platform::Scene> scene);
  void capture(std::uint64_t id);
  /// Whether the screen saver is inhibited while the window is open. open() inhibits it.
  void setKeepsDisplayOn(bool keepsOn);

  FrameStatistics statistics() const;

 private:
  struct Open {
    std::uint64_t session;
  };
  struct Close {};
  struct SetScene {
    std::shared_ptr<const platform::Scene> scene;
  };
  struct Capture {
    std::uint64_t id;
  };
  struct KeepDisplayOn {
    bool keepsOn;
  };
  struct Stop {};
  using Command = std::variant<Open, Close, SetScene, Capture, KeepDisplayOn, Stop>;

  /// Shared with wakeup callbacks of videos, which may run while the thread ends.
  struct Signal {
    ScreenWaker waker;
    std::atomic<bool> videoChanged = false;
  };

  /// From open() to close().
  struct Presentation {
    std::uint64_t session = 0;
    bool keepsDisplayOn = true;
    std::optional<RetryDelay> retry;  ///< the display is lost
  };

  struct Statistics {
    std::mutex mutex;        // protects the other members
    FrameStatistics frames;  ///< without the judder
    JudderMeter judder;
  };

  void _post(Command command);
  void _run();
  std::deque<Command> _takeCommands();
  void _execute(const Open& command);
  void _execute(const Close&) { _close(); }
  void _execute(const SetScene& command);
  void _execute(const Capture& command);
  void _execute(const KeepDisplayOn& command);
  void _execute(const Stop&) { _stopping = true; }
  bool _openWindow(std::string& reason);
  void _retryIfDue();
  void _handleLostDisplay();
  void _readDisplay();
  void _closeByUser();
  void _close();
  void _closeWindow();
  void _watchVideos(std::vector<std::shared_ptr<media::VideoFrames>> videos);
  void _handle(const SDL_Event& event);
  void _handleWindow(const SDL_WindowEvent& event);
  bool _needsFrame() const;
  void _drawIfNeeded();
  void _draw();
  void _countFrame(platform::Duration cost);
  std::optional<platform::Duration> _sleepLimit() const;
  platform::TimePoint _nextFrame(platform::TimePoint now) const;

  const platform::Clock& _clock;
  const ScreenOptions _options;
  const Events _events;
  const std::shared_ptr<Signal> _signal = std::make_shared<Signal>();

  std::mutex _mutex;
  std::deque<Command> _commands;  // protected by `_mutex`

  mutable Statistics _statistics;

  // Screen thread only.
  VideoSystem* _video = nullptr;
  TextRenderer* _texts = nullptr;
  std::unique_ptr<ScreenWindow> _window;
  std::unique_ptr<ScreenInput> _input;
  Presentation _presentation;
  std::shared_ptr<const platform::Scene> _scene;
  std::vector<std::shared_ptr<media::VideoFrames>> _watched;
  bool _stopping = false;
  bool _damaged = false;
  bool _animated = false;
  RefreshPace _pace;

  std::thread _encoder;  // of the last capture

  std::thread _thread;
};

}  // namespace box
