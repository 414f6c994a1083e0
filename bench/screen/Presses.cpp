#include "bench/screen/Presses.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "bench/screen/Pictures.h"
#include "box/screen/drawing/Sdl.h"
#include "box/screen/window/Screen.h"

namespace bench {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr auto kPicture = std::chrono::nanoseconds(std::chrono::seconds(1)) / 60;
constexpr auto kLimit = std::chrono::seconds(5);

/// Delivers frames at 60 Hz like a player.
class Film {
 public:
  Film() : _thread([this] { _run(); }) {}
  ~Film() {
    _ends = true;
    _thread.join();
  }
  Film(const Film&) = delete;
  Film& operator=(const Film&) = delete;
  const std::shared_ptr<media::VideoFrames>& frames() const { return _frames; }

 private:
  void _run() {
    const auto ticket = _frames->open();
    std::vector<std::shared_ptr<Picture>> pictures;
    pictures.reserve(3);
    for (int i = 0; i < 3; ++i) pictures.push_back(std::make_shared<Picture>(1920, 1080, i));
    auto due = SteadyClock::now();
    double seconds = 0;
    for (std::size_t i = 0; !_ends; ++i, due += kPicture, seconds += 1.0 / 60) {
      std::this_thread::sleep_until(due);
      // The oldest frame is no longer on screen, so its time may be changed.
      pictures[i % 3]->due = seconds;
      _frames->put(ticket, pictures[i % 3]);
    }
  }

  const std::shared_ptr<media::VideoFrames> _frames = std::make_shared<media::VideoFrames>();
  std::atomic<bool> _ends = false;
  std::thread _thread;
};

/// A scene with the film. The frame of `mark` reports when it is displayed.
std::shared_ptr<const platform::Scene> sceneOf(const Film& film,
                                               const std::shared_ptr<media::VideoFrames>& mark) {
  platform::TransportBarElement bar;
  bar.title = "Title";
  bar.state = platform::TransportState::Playing;
  bar.elapsed = 75;
  bar.duration = 600.0;
  platform::SceneNode all;
  all.frame = platform::kScreenBounds;
  all.elements = {platform::VideoElement{film.frames()}, bar};
  if (mark) {
    platform::SceneNode corner;
    corner.frame = {1600, 60, 256, 144};
    corner.elements = {platform::VideoElement{mark}};
    all.children.push_back(std::move(corner));
  }
  auto scene = std::make_shared<platform::Scene>();
  scene->nodes.push_back(std::move(all));
  return scene;
}

/// `times` are in refreshes.
void print(std::vector<double> times, const box::JudderStatistics& judder) {
  std::sort(times.begin(), times.end());
  const auto at = [&](double share) {
    return times[static_cast<std::size_t>(share * static_cast<double>(times.size() - 1))];
  };
  std::printf("press to picture, refreshes: median %.2f, 99 %% within %.2f, longest %.2f\n",
              at(0.5), at(0.99), at(1));
  std::printf("judder of the film meanwhile: average %.2f ms, 99 %% within %.2f ms, %llu dropped\n",
              judder.averageMilliseconds, judder.percentile99Milliseconds,
              static_cast<unsigned long long>(judder.dropped));
}

}  // namespace

bool timePresses(int count) {
  const platform::SystemClock clock;
  platform::MainQueue queue(clock, std::make_shared<platform::ConditionWaiter>(clock));
  queue.bindToCurrentThread();
  const Film film;
  std::atomic<SteadyClock::rep> shownAt = 0;
  box::Screen screen(queue, clock, {false, platform::Size{1920, 1080}, "Bench"});
  const auto runUntil = [&](const auto& done, platform::Duration limit) {
    const platform::TimePoint end = clock.now() + limit;
    while (!done() && clock.now() < end) {
      if (!queue.runDue()) queue.waitForWork(std::min(end, clock.now() + kPicture / 8));
    }
    return done();
  };
  const auto press = [&](const platform::InputEvent&) {
    const auto mark = std::make_shared<media::VideoFrames>();
    auto picture = std::make_shared<Picture>(256, 144, 1);
    picture->shown = [&] { shownAt = SteadyClock::now().time_since_epoch().count(); };
    mark->put(mark->open(), std::move(picture));
    screen.setScene(sceneOf(film, mark));
  };
  std::optional<bool> opened;
  screen.open([&](const std::optional<platform::Error>& error) { opened = !error; });
  if (!runUntil([&] { return opened.has_value(); }, kLimit) || !*opened) return false;
  screen.setScene(sceneOf(film, nullptr));
  screen.setInputHandler(press);
  runUntil([] { return false; }, std::chrono::seconds(1));

  const bool hasKeys = std::strcmp(SDL_GetCurrentVideoDriver(), "dummy") != 0;
  std::vector<double> taken;
  for (int i = 0; i < count; ++i) {
    // The delays cover all phases of a refresh.
    runUntil([] { return false; }, std::chrono::milliseconds(50) + kPicture * (i % 16) / 16);
    shownAt = 0;
    const auto began = SteadyClock::now();
    if (hasKeys) {
      SDL_Event key{};
      key.type = SDL_KEYDOWN;
      key.key.keysym.sym = SDLK_RIGHT;
      SDL_PushEvent(&key);
    } else {
      press({platform::PressType::Right});
    }
    if (!runUntil([&] { return shownAt != 0; }, kLimit)) return false;
    const std::chrono::duration<double> wait(SteadyClock::duration(shownAt) -
                                             began.time_since_epoch());
    taken.push_back(wait / std::chrono::duration<double>(kPicture));
  }
  print(std::move(taken), screen.statistics().judder);
  return true;
}

}  // namespace bench
