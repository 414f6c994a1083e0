#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/player/PlayerBench.h"

namespace {

using Script = sim::MediaScript;

class SimPlayerBench final : public PlayerBench {
 public:
  SimPlayerBench() {
    using Kind = Script::Request::Kind;
    auto& media = _box.mediaLibrary();
    constexpr double kDelay = 0.125;
    for (const char* name : {"a", "b", "c"}) media.add(name, {.loadDelay = kDelay, .duration = 1});
    media.add("clip", {.loadDelay = kDelay,
                       .duration = 3,
                       .title = "Clip",
                       .tracks = {{1, "video", "h264", true}, {2, "audio", "aac", true}},
                       .seekDelay = kDelay});
    media.add("long", {.loadDelay = kDelay, .duration = 20});
    media.add("dated",
              {.loadDelay = kDelay, .duration = 3, .startDate = platform::Date{1'700'000'000}});
    media.add("tracks",
              {.loadDelay = kDelay,
               .duration = 3,
               .tracks = {{1, "video", "h264", true},
                          {2, "audio", "aac", true},
                          {3, "audio", "aac", false},
                          {4, "text", "text", false},
                          {5, "text", "text", false}},
               .selectionGroups = {
                   {"audible", {{"1", "English", "en"}, {"2", "French", "fr"}}, 0, false},
                   {"legible", {{"3", "English", "en"}, {"4", "French", "fr"}}, {}, true}}});
    media.add("live", {.loadDelay = kDelay, .liveWindow = 5});
    media.add("own", {.loadDelay = kDelay, .duration = 3, .requests = {{.url = "own"}}});
    media.add("asks",
              {.loadDelay = kDelay, .duration = 3, .requests = {{.position = 1, .url = "asks"}}});
    media.add(
        "refused",
        {.loadDelay = kDelay, .duration = 3, .requests = {{.position = 1, .url = "refused"}}});
    media.add(
        "key",
        {.loadDelay = kDelay, .duration = 3, .requests = {{.url = "key", .kind = Kind::Key}}});
    media.add("silent", {.loadDelay = 1e6});
    media.add("damaged",
              {.loadDelay = kDelay,
               .loadFailure = platform::Error{
                   std::string(platform::kMediaErrorDomain),
                   static_cast<std::int64_t>(platform::MediaErrorCode::FormatNotRecognized),
                   "This cannot be played.",
                   {},
                   {}}});
  }

  std::string url(const std::string& name) override { return name; }
  platform::ResourceResponse answerTo(const TVSResourceLoadingRequest&) override {
    return {{}, std::make_shared<platform::Bytes>(16), {}, {}};
  }
  void turn() override { _box.run(); }
  bool until(const std::function<bool()>& condition) override {
    // A change of the position is no event, so it is polled in short steps.
    constexpr auto kStep = std::chrono::milliseconds(10);
    const auto limit = _box.clock().now() + std::chrono::minutes(1);
    _box.run();
    while (!condition() && _box.clock().now() < limit) {
      const auto next = _box.mainQueue().nextDeadline();
      const auto now = _box.clock().now();
      _box.advance(next ? std::clamp<platform::Duration>(*next - now, {}, kStep) : kStep);
    }
    return condition();
  }
  void waitForIdle() override { _box.advance(std::chrono::minutes(1)); }
  std::size_t engines() override { return _box.mediaLibrary().engines().size(); }
  sim::NowPlayingService& nowPlaying() override { return _box.nowPlaying(); }
  bool hasVirtualTime() const override { return true; }

 private:
  sim::Box _box{{.logLevel = 0}};
};

}  // namespace

std::unique_ptr<PlayerBench> PlayerBench::make() { return std::make_unique<SimPlayerBench>(); }
