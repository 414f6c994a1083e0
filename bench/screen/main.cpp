// Measures drawing at 1920x1080 on the available display and renderer.
//
// usage: vorlane-screen-bench frames [COUNT] | press [COUNT]
//   frames  draws and presents COUNT frames of each kind; prints the median and the slowest
//   press   from a button press to the changed frame
// SDL_VIDEODRIVER=dummy runs without a display, SDL_RENDER_DRIVER=opengl selects a renderer.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/screen/Pictures.h"
#include "bench/screen/Presses.h"
#include "box/screen/window/ScreenWindow.h"
#include "box/screen/window/VideoSystem.h"

namespace {

using platform::kScreenBounds;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "vorlane-screen-bench: %s\n", what.c_str());
  std::exit(1);
}

platform::SceneNode nodeOf(std::vector<platform::SceneElement> elements) {
  platform::SceneNode node;
  node.frame = kScreenBounds;
  node.elements = std::move(elements);
  return node;
}

/// A video with a scene above it. Three frames are repeated.
struct Case {
  const char* name;
  int width, height;
  int rotation;
  bool pictureChanges;
  bool mirrored;
  std::vector<platform::SceneNode> over;
};

std::vector<Case> cases() {
  const platform::SceneNode card =
      nodeOf({platform::BlurElement{},
              platform::DigitsElement{"1234", 4, "Enter the code that the other shows"}});
  platform::SceneNode half = card;
  half.alpha = platform::AnimatedAlpha::constant(0.5F);
  platform::TransportBarElement bar;
  bar.title = "Title";
  bar.state = platform::TransportState::Playing;
  bar.elapsed = 75;
  bar.duration = 600.0;
  return {
      {"video", 1920, 1080, 0, true, false, {}},
      {"video, 720p", 1280, 720, 0, true, false, {}},
      {"video, 4K", 3840, 2160, 0, true, false, {}},
      {"video, upright", 1920, 1080, 90, true, false, {}},
      {"video and transport bar", 1920, 1080, 0, true, false, {nodeOf({bar})}},
      {"video, blur and text", 1920, 1080, 0, true, false, {card}},
      {"still picture, blur and text", 1920, 1080, 0, false, false, {card}},
      {"video, blur and text at half opacity", 1920, 1080, 0, true, false, {half}},
      {"mirrored, 1080p", 1920, 1080, 0, true, true, {}},
      {"mirrored, 960x540", 960, 540, 0, true, true, {}},
      {"mirrored, portrait 1080x1920", 1080, 1920, 0, true, true, {}},
  };
}

void time(box::ScreenWindow& window, const Case& what, int frames) {
  const auto video = std::make_shared<media::VideoFrames>();
  const auto ticket = video->open();
  std::vector<std::shared_ptr<bench::Picture>> pictures;
  for (int i = 0; i < 3; ++i) {
    pictures.push_back(std::make_shared<bench::Picture>(what.width, what.height, i));
    pictures.back()->rotationDegrees = what.rotation;
  }
  platform::Scene scene;
  if (what.mirrored) {
    scene.nodes.push_back(
        nodeOf({platform::LayerElement{std::make_shared<bench::Mirrored>(video)}}));
  } else {
    scene.nodes.push_back(nodeOf({platform::VideoElement{video}}));
  }
  scene.nodes.insert(scene.nodes.end(), what.over.begin(), what.over.end());
  const platform::SystemClock clock;
  std::vector<double> taken;
  constexpr int kWarmUpFrames = 10;  // they create textures
  for (int i = 0; i < kWarmUpFrames + frames; ++i) {
    if (i == 0 || what.pictureChanges)
      video->put(ticket, pictures[static_cast<std::size_t>(i) % pictures.size()]);
    const auto began = std::chrono::steady_clock::now();
    window.draw(scene, clock.now());
    const auto cost = std::chrono::steady_clock::now() - began;
    if (i >= kWarmUpFrames)
      taken.push_back(std::chrono::duration<double, std::milli>(cost).count());
  }
  std::sort(taken.begin(), taken.end());
  std::printf("| %-36s | %6.2f | %6.2f |\n", what.name, taken[taken.size() / 2], taken.back());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const std::string what = argumentCount > 1 ? arguments[1] : "frames";
  const int count = argumentCount > 2 ? std::atoi(arguments[2]) : 100;
  if ((what != "frames" && what != "press") || count <= 0) fail("frames [COUNT] | press [COUNT]");
  if (what == "press") {
    if (!bench::timePresses(count)) fail("no screen");
    return 0;
  }
  box::VideoSystem video;
  std::string reason;
  box::TextRenderer texts;
  auto surface = video.openWindow({false, platform::Size{1920, 1080}, "Bench"}, reason);
  if (!surface) fail(reason);
  box::ScreenWindow window(std::move(surface), texts, {});
  SDL_Renderer* const renderer = window.surface().renderer();
  SDL_RendererInfo info{};
  SDL_GetRendererInfo(renderer, &info);
  // Waiting for vertical sync is not a cost of drawing.
  SDL_RenderSetVSync(renderer, 0);
  std::printf("driver %s, renderer %s\n| %-36s | median | slowest, ms |\n|---|---|---|\n",
              video.waylandWindow() ? "wayland without SDL" : SDL_GetCurrentVideoDriver(),
              info.name, "a frame of");
  for (const Case& each : cases()) time(window, each, count);
  return 0;
}
