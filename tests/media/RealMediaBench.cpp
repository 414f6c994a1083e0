#include "tests/media/RealMediaBench.h"

#include <chrono>
#include <fstream>
#include <iterator>
#include <vector>

#include "media/output/VideoFrames.h"
#include "platform/foundation/queues/WorkerThreads.h"
#include "sim/Box.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

constexpr auto kBound = std::chrono::seconds(90);

/// The simulated box with a real-time queue and real media. Dates do not advance.
class RealTimeBox final : public sim::Box {
 public:
  explicit RealTimeBox(EngineMaker makeEngine)
      : sim::Box({.logLevel = 0}), _makeEngine(std::move(makeEngine)) {
    _queue.bindToCurrentThread();
  }
  ~RealTimeBox() override {
    // Pending tasks may hold a player.
    _queue.discard();
    platform::WorkerThreads::waitForAll(kBound);
  }

  const platform::Clock& realClock() const { return _clock; }
  platform::MainQueue& mainQueue() override { return _queue; }
  std::unique_ptr<platform::MediaEngine> makeMediaEngine() override {
    auto engine = _makeEngine(_queue, _clock);
    // A new picture posts no task, but it may change the position that a test waits for.
    const auto frames = std::static_pointer_cast<media::VideoFrames>(engine->videoOutput());
    frames->setWakeup([this] { _queue.wake(); });
    _frames.push_back(frames);
    return engine;
  }
  /// The pictures of the current engine.
  std::size_t engines() {
    std::erase_if(_frames, [](const auto& frames) { return frames.expired(); });
    return _frames.size();
  }

 private:
  platform::SystemClock _clock;
  platform::MainQueue _queue{_clock, std::make_shared<platform::ConditionWaiter>(_clock)};
  const EngineMaker _makeEngine;
  std::vector<std::weak_ptr<media::VideoFrames>> _frames;
};

class RealMediaBench final : public PlayerBench {
 public:
  explicit RealMediaBench(EngineMaker makeEngine) : _box(std::move(makeEngine)) {}

  std::string url(const std::string& name) override {
    const TestMedia& media = TestMedia::shared();
    if (name == "clip") return media.url("clip.mp4");
    if (name == "long") return media.url("long.mp4");
    if (name == "dated") return media.url("dated.m3u8");
    if (name == "tracks") return _soundsAndTexts();
    if (name == "live") return media.url("live/programme.m3u8");
    if (name == "key") return media.url("encrypted.m3u8");
    if (name == "silent") return media.url("hang");
    if (name == "damaged") return media.url("text.mp4");
    if (name == "missing") return "file:///nowhere/clip.mp4";
    if (name == "own") {
      media.url("clip.mp4");
      return "x-demo://sender/clip.mp4";
    }
    if (name == "asks") return media.url("asks.m3u8");
    if (name == "refused") return media.url("refused.m3u8");
    return media.url("second.mp4");
  }
  platform::ResourceResponse answerTo(const TVSResourceLoadingRequest& request) override {
    if (dynamic_cast<const TVSSecureKeyRequest*>(&request)) return {{}, _key(), {}, {}};
    const std::string& url = request.url();
    std::ifstream file(TestMedia::shared().path(url.substr(url.rfind('/') + 1)), std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    const auto* bytes = reinterpret_cast<const std::byte*>(content.data());
    return {platform::HTTPResponse{url, 200, "HTTP/1.1", {}},
            std::make_shared<platform::Bytes>(bytes, bytes + content.size()),
            {},
            {}};
  }

  void turn() override { _box.mainQueue().runDue(); }
  bool until(const std::function<bool()>& condition) override {
    const auto limit = _box.realClock().now() + kBound;
    bool so = condition();
    while (!so && _box.realClock().now() < limit) {
      if (!_box.mainQueue().runDue()) _box.mainQueue().waitForWork(limit);
      so = condition();
    }
    return so;
  }
  void waitForIdle() override {
    platform::WorkerThreads::waitForAll(kBound);
    turn();
  }
  std::size_t engines() override { return _box.engines(); }
  sim::NowPlayingService& nowPlaying() override { return _box.nowPlaying(); }
  bool hasVirtualTime() const override { return false; }

 private:
  /// The key of tests/support/make_encrypted_media.
  static std::shared_ptr<const platform::Bytes> _key() {
    auto key = std::make_shared<platform::Bytes>();
    for (unsigned byte = 0; byte < 16; ++byte) key->push_back(std::byte(byte * 0x11));
    return key;
  }
  static std::string _soundsAndTexts() {
    const TestMedia& media = TestMedia::shared();
    for (const char* text : {"english.srt", "french.srt"}) media.url(text);
    return media.url("languages.mkv",
                     "-i " + media.path("english.srt") + " -i " + media.path("french.srt") +
                         " -map 0 -map 1 -map 2 -map 3 -map 4 -c:v libx264 -preset ultrafast -g 25"
                         " -pix_fmt yuv420p -c:a aac -c:s srt -metadata:s:a:0 language=eng"
                         " -metadata:s:a:1 language=fra -metadata:s:s:0 language=eng"
                         " -metadata:s:s:1 language=fra");
  }
  RealTimeBox _box;
};

}  // namespace
std::unique_ptr<PlayerBench> makeRealMediaBench(EngineMaker makeEngine) {
  return std::make_unique<RealMediaBench>(std::move(makeEngine));
}

}  // namespace testing_media
