#include "box/screen/window/ScreenThread.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <sys/resource.h>
#include <unistd.h>

#include "box/screen/drawing/RendererChoice.h"
#include "box/screen/wayland/WaylandWindow.h"
#include "platform/foundation/log/TVSLogger.h"
#include "platform/foundation/queues/Thread.h"

namespace box {
namespace {

constexpr int kNiceness = 10;

/// A software renderer uses a core for most of each frame. Decoding and D-Bus calls take
/// precedence.
void lowerThreadPriority() { setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), kNiceness); }

using SteadyClock = std::chrono::steady_clock;

const platform::Scene& emptyScene() {
  static const platform::Scene scene;
  return scene;
}

}  // namespace

ScreenThread::ScreenThread(const platform::Clock& clock, ScreenOptions options, Events events)
    : _clock(clock), _options(std::move(options)), _events(std::move(events)) {}

ScreenThread::~ScreenThread() {
  _post(Stop{});
  if (_thread.joinable()) _thread.join();
}

bool ScreenThread::start() {
  return platform::startThread(_thread, [this] { _run(); });
}

void ScreenThread::open(std::uint64_t session) { _post(Open{session}); }
void ScreenThread::close() { _post(Close{}); }
void ScreenThread::capture(std::uint64_t id) { _post(Capture{id}); }
void ScreenThread::setKeepsDisplayOn(bool keepsOn) { _post(KeepDisplayOn{keepsOn}); }
void ScreenThread::setScene(std::shared_ptr<const platform::Scene> scene) {
  _post(SetScene{std::move(scene)});
}

FrameStatistics ScreenThread::statistics() const {
  const std::lock_guard lock(_statistics.mutex);
  FrameStatistics statistics = _statistics.frames;
  statistics.judder = _statistics.judder.statistics();
  return statistics;
}

void ScreenThread::_post(Command command) {
  {
    const std::lock_guard lock(_mutex);
    // Only the latest scene is drawn. The replaced one is released after unlock.
    if (std::holds_alternative<SetScene>(command) && !_commands.empty() &&
        std::holds_alternative<SetScene>(_commands.back())) {
      std::swap(_commands.back(), command);
    } else {
      _commands.push_back(std::move(command));
    }
  }
  _signal->waker.wake();
}

void ScreenThread::_run() {
  VideoSystem video;
  TextRenderer texts(_options.language);
  _video = &video;
  _texts = &texts;
  video.warmUp();
  texts.warmUp();
  while (!_stopping) {
    if (_window) _window->surface().flush();
    if (const auto event = _signal->waker.sleep(_sleepLimit())) _handle(*event);
    _readDisplay();
    for (const Command& command : _takeCommands()) {
      std::visit([&](const auto& kind) { _execute(kind); }, command);
      if (_stopping) break;
    }
    _retryIfDue();
    _drawIfNeeded();
  }
  _close();
  if (_encoder.joinable()) _encoder.join();
}

std::deque<ScreenThread::Command> ScreenThread::_takeCommands() {
  const std::lock_guard lock(_mutex);
  return std::exchange(_commands, {});
}

void ScreenThread::_execute(const KeepDisplayOn& command) {
  _presentation.keepsDisplayOn = command.keepsOn;
  if (_window) _window->surface().keepDisplayOn(command.keepsOn);
}

void ScreenThread::_execute(const Open& command) {
  _presentation.session = command.session;
  _presentation.keepsDisplayOn = true;
  std::string reason;
  if (!_window && !_openWindow(reason)) {
    if (!_video->hasShownWindow()) {
      _events.opened(command.session, std::move(reason));
      return;
    }
    TVSLogWarning(TVSSystemLog, "Screen: no display, trying again: %@", reason);
    _watchVideos({});
    _presentation.retry.emplace(_clock.now());
  }
  _events.opened(command.session, std::nullopt);
}

bool ScreenThread::_openWindow(std::string& reason) {
  auto surface = _video->openWindow(_options, reason);
  if (!surface) return false;
  if (WaylandWindow* const window = _video->waylandWindow()) {
    if (!_signal->waker.watch(window->flush())) {
      reason = "the process has too many open files";
      return false;
    }
    window->setInputHandler(
        [this](const RemoteEvent& event) { _events.input(_presentation.session, event); });
  }
  if (!isAccelerated(surface->renderer())) lowerThreadPriority();
  surface->keepDisplayOn(_presentation.keepsDisplayOn);
  // With vsync, present limits the rate. The shorter pace is a safety limit in case it does not.
  const platform::Duration refresh = surface->refreshInterval();
  _pace = RefreshPace(surface->followsDisplay() ? refresh / 2 : refresh);
  _window = std::make_unique<ScreenWindow>(std::move(surface), *_texts, _options.access);
  _damaged = true;
  if (!_video->isHeadless()) _input = std::make_unique<ScreenInput>(_window->surface());
  if (_video->hasEventQueue()) _signal->waker.useEventQueue(true);
  return true;
}

void ScreenThread::_handleLostDisplay() {
  TVSLogWarning(TVSSystemLog, "Screen: the display is lost, playback goes on without it");
  _closeWindow();
  _watchVideos({});
  _video->stop();
  _presentation.retry.emplace(_clock.now());
  for (int press = 0; press <= static_cast<int>(platform::PressType::Home); ++press) {
    _events.input(_presentation.session,
                  {RemoteEvent::Kind::ButtonUp, {static_cast<platform::PressType>(press)}});
  }
}

void ScreenThread::_retryIfDue() {
  if (!_presentation.retry || _presentation.retry->time() > _clock.now()) return;
  std::string reason;
  if (!_openWindow(reason)) {
    _presentation.retry->failed(_clock.now());
    return;
  }
  TVSLogNotice(TVSSystemLog, "Screen: the display is back");
  _presentation.retry.reset();
  if (_scene) _watchVideos(videosOf(*_scene));
}

void ScreenThread::_readDisplay() {
  if (!_window || _video->isHeadless()) return;
  RenderSurface& surface = _window->surface();
  if (!surface.dispatch()) {
    _handleLostDisplay();
    return;
  }
  if (surface.isClosed()) {
    _closeByUser();
    return;
  }
  if (surface.isResized()) _damaged = true;
  SDL_Event event;
  while (_window && SDL_PollEvent(&event) == 1) _handle(event);
}

void ScreenThread::_execute(const SetScene& command) {
  _scene = command.scene;
  _damaged = true;
  if (_presentation.retry) return;
  _watchVideos(_scene ? videosOf(*_scene) : std::vector<std::shared_ptr<media::VideoFrames>>{});
}

void ScreenThread::_execute(const Capture& command) {
  if (!_window) {
    _events.captured(command.id, nullptr);
    return;
  }
  // Draw changes in a regular frame first, because the captured frame is not counted.
  if (_damaged || _signal->videoChanged) _draw();
  PixelRows rows = _window->capture(_scene ? *_scene : emptyScene(), _clock.now());
  // Encoding takes as long as several frames. Only one runs at a time: a faster sequence of
  // captures blocks here.
  if (_encoder.joinable()) _encoder.join();
  auto encode = [this, id = command.id, taken = std::move(rows)]() mutable {
    _events.captured(id, encodePng(std::move(taken)));
  };
  if (!platform::startThread(_encoder, std::move(encode))) _events.captured(command.id, nullptr);
}

void ScreenThread::_closeByUser() {
  _close();
  SDL_FlushEvent(SDL_QUIT);  // of the last window
  _events.closed(_presentation.session);
}

void ScreenThread::_close() {
  _presentation.retry.reset();
  _watchVideos({});
  _scene.reset();
  _closeWindow();
}

void ScreenThread::_closeWindow() {
  _signal->waker.useEventQueue(false);
  _signal->waker.watch(-1);
  if (!_window) return;
  _input.reset();
  _window.reset();
  _animated = false;
  // Drop events of the old window. SDL_PumpEvents() also flushes pending requests to the display.
  SDL_PumpEvents();
  SDL_FlushEvents(SDL_FIRSTEVENT, SDL_QUIT - 1);
  SDL_FlushEvents(SDL_QUIT + 1, SDL_LASTEVENT);
}

void ScreenThread::_watchVideos(std::vector<std::shared_ptr<media::VideoFrames>> videos) {
  const auto contains = [](const auto& list, const auto& video) {
    return std::find(list.begin(), list.end(), video) != list.end();
  };
  for (const auto& video : _watched) {
    if (!contains(videos, video)) video->setWakeup({});
  }
  for (const auto& video : videos) {
    if (contains(_watched, video)) continue;
    video->setWakeup([signal = _signal] {
      signal->videoChanged = true;
      signal->waker.wake();
    });
  }
  _watched = std::move(videos);
}

void ScreenThread::_handle(const SDL_Event& event) {
  if (!_window) return;
  switch (event.type) {
    case SDL_WINDOWEVENT:
      if (_window->surface().owns(event)) _handleWindow(event.window);
      return;
    case SDL_QUIT:
      // If the user closes the window, SDL_WINDOWEVENT_CLOSE comes first.
      _handleLostDisplay();
      return;
    case SDL_RENDER_TARGETS_RESET:
    case SDL_RENDER_DEVICE_RESET:
      _window->releaseTextures();
      _damaged = true;
      return;
    default:
      break;
  }
  if (!_input) return;
  if (const auto remote = _input->translate(event)) _events.input(_presentation.session, *remote);
}

void ScreenThread::_handleWindow(const SDL_WindowEvent& event) {
  switch (event.event) {
    case SDL_WINDOWEVENT_EXPOSED:
    case SDL_WINDOWEVENT_SHOWN:
    case SDL_WINDOWEVENT_RESTORED:
    case SDL_WINDOWEVENT_SIZE_CHANGED:
      _damaged = true;
      return;
    case SDL_WINDOWEVENT_CLOSE:
      _closeByUser();
      return;
    default:
      return;
  }
}

void ScreenThread::_drawIfNeeded() {
  if (!_needsFrame()) return;
  const platform::TimePoint now = _clock.now();
  if (_nextFrame(now) <= now) _draw();
}

void ScreenThread::_draw() {
  const auto begin = SteadyClock::now();
  const platform::TimePoint now = _clock.now();
  // Reset before drawing, so that a picture that arrives meanwhile is drawn in the next frame.
  _signal->videoChanged = false;
  _damaged = false;
  _pace.drawn(now);
  _animated = _window->draw(_scene ? *_scene : emptyScene(), now);
  _countFrame(SteadyClock::now() - begin);
}

void ScreenThread::_countFrame(platform::Duration cost) {
  const double milliseconds = platform::secondsFromDuration(cost) * 1000;
  const platform::TimePoint now = _clock.now();
  const std::lock_guard lock(_statistics.mutex);
  ++_statistics.frames.frames;
  _statistics.frames.averageMilliseconds +=
      (milliseconds - _statistics.frames.averageMilliseconds) /
      static_cast<double>(_statistics.frames.frames);
  _statistics.frames.longestMilliseconds =
      std::max(_statistics.frames.longestMilliseconds, milliseconds);
  for (const ShownPicture& picture : _window->shown())
    _statistics.judder.record(picture, now, _window->surface().refreshInterval());
}

bool ScreenThread::_needsFrame() const {
  return _window && _window->surface().isReady() &&
         (_damaged || _signal->videoChanged || _animated);
}

std::optional<platform::Duration> ScreenThread::_sleepLimit() const {
  const platform::TimePoint now = _clock.now();
  if (_presentation.retry)
    return std::max(_presentation.retry->time() - now, platform::Duration::zero());
  std::optional<platform::Duration> limit;
  if (_needsFrame()) limit = _nextFrame(now) - now;
  // In its own event queue, SDL polls for controllers itself.
  if (_input && !_video->hasEventQueue())
    limit = std::min(limit.value_or(platform::Duration::max()), _input->pollInterval());
  return limit;
}

platform::TimePoint ScreenThread::_nextFrame(platform::TimePoint now) const {
  const bool changed = _damaged || _signal->videoChanged;
  return _pace.earliest(now,
                        changed ? RefreshPace::Reason::Change : RefreshPace::Reason::Animation);
}

}  // namespace box
