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
#include "box/screen/window/ScreenInput.h"
#include "box/screen/window/ScreenWaker.h"
#include "box/screen/window/ScreenWindow.h"
#include "box/screen/window/VideoSystem.h"
#include "media/output/VideoFrames.h"
#include "platform/foundation/Value.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/ui/scene/Scene.h"

namespace box {

/// The one thread that touches SDL's video, its events, the renderer and the fonts.
///
/// It takes commands from a mailbox and answers through its events. Closed, it sleeps until a
/// command comes. Open, it sleeps until a command, an input, a new picture of a video that the
/// scene shows, or the next frame of what moves by itself, and draws only when one of these changed
/// the picture, at most once in each refresh of the display.
///
/// Threads: the operations from any thread, none of them waits for the thread's work; the events on
/// the screen's thread, without a lock held. The destructor waits for the frame in progress.
class ScreenThread {
 public:
  struct Events {
    /// Once for each open(), with a reason when it failed.
    std::function<void(std::uint64_t session, std::optional<std::string> failure)> opened;
    /// The window of that session went away by itself.
    std::function<void(std::uint64_t session)> closed;
    std::function<void(std::uint64_t session, const RemoteEvent& event)> input;
    /// Once for each capture(); null when there is no window.
    std::function<void(std::uint64_t id, std::shared_ptr<const platform::Bytes> png)> captured;
  };

  ScreenThread(const platform::Clock& clock, ScreenOptions options, Events events);
  ~ScreenThread();
  ScreenThread(const ScreenThread&) = delete;
  ScreenThread& operator=(const ScreenThread&) = delete;

  /// Before the rest. False: the system has no thread left, and the rest does nothing.
  [[nodiscard]] bool start();
  /// `session` names the window to the events.
  void open(std::uint64_t session);
  /// Also forgets the scene.
  void close();
  void setScene(std::shared_ptr<const platform::Scene> scene);
  void capture(std::uint64_t id);
  /// Whether the display may go dark while the window is open; it may not when that opens.
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

  /// What the wake-ups of videos share with the thread: they may come while it goes down.
  struct Signal {
    ScreenWaker waker;
    std::atomic<bool> videoChanged = false;
  };

  struct Statistics {
    std::mutex mutex;        // guards the rest
    FrameStatistics frames;  ///< but for the judder
    JudderMeter judder;
  };

  void _post(Command command);
  void _run();
  std::deque<Command> _takeCommands();
  void _execute(const Open& command);
  void _execute(const Close&) { _closeWindow(); }
  void _execute(const SetScene& command);
  void _execute(const Capture& command);
  void _execute(const KeepDisplayOn& command);
  void _execute(const Stop&) { _stopping = true; }
  void _closeWindow();
  void _watchVideos(std::vector<std::shared_ptr<media::VideoFrames>> videos);
  void _handle(const SDL_Event& event);
  void _handleWindow(const SDL_WindowEvent& event);
  bool _needsFrame() const { return _window && (_damaged || _signal->videoChanged || _moves); }
  void _drawIfNeeded();
  void _draw();
  void _countFrame(platform::Duration cost);
  std::optional<platform::Duration> _timeToNextFrame() const;
  platform::TimePoint _nextFrame(platform::TimePoint now) const;

  const platform::Clock& _clock;
  const ScreenOptions _options;
  const Events _events;
  const std::shared_ptr<Signal> _signal = std::make_shared<Signal>();

  std::mutex _mutex;
  std::deque<Command> _commands;  // protected by `_mutex`

  mutable Statistics _statistics;

  // The screen's thread's own.
  VideoSystem* _video = nullptr;
  TextRenderer* _texts = nullptr;
  std::unique_ptr<ScreenWindow> _window;
  std::unique_ptr<ScreenInput> _input;
  std::uint64_t _session = 0;
  std::shared_ptr<const platform::Scene> _scene;
  std::vector<std::shared_ptr<media::VideoFrames>> _watched;
  bool _stopping = false;
  bool _damaged = false;
  bool _moves = false;
  RefreshPace _pace;

  std::thread _encoder;  // of the last capture

  std::thread _thread;
};

}  // namespace box
