#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/output/VideoFrames.h"
#include "platform/foundation/queues/Clock.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/MediaEngine.h"

namespace testing_media {

using EngineMaker = std::function<std::unique_ptr<platform::MediaEngine>(
    platform::MainQueue& queue, const platform::Clock& clock)>;

/// Creates the engine that this test program tests.
std::unique_ptr<platform::MediaEngine> makeTestedEngine(
    platform::MainQueue& queue, const platform::Clock& clock, bool allowFileURLs,
    const std::vector<std::string>& preferredLanguages);

/// An engine on a real main queue, with a record of its events.
///
/// waitUntil() runs the queue until a condition holds or a generous time-out has passed: these
/// tests do not measure time.
class EngineHarness final : private platform::MediaEngineObserver {
 public:
  explicit EngineHarness(bool allowFileURLs = true,
                         std::vector<std::string> preferredLanguages = {});
  explicit EngineHarness(const EngineMaker& makeEngine);
  ~EngineHarness() override;

  platform::MediaEngine& engine() { return *_engine; }
  media::VideoFrames& frames() { return *_frames; }
  std::shared_ptr<const media::VideoFrame> frame() const { return _frames->latest(); }
  void destroyEngine() { _engine.reset(); }

  /// Loads with a new generation and clears the record. If `load` has no item, one for `url` is
  /// created.
  void load(const std::string& url, platform::MediaLoad load = {},
            const std::function<void(TVSMediaItem&)>& configure = {});
  std::uint64_t generation() const { return _generation; }

  bool waitUntil(const std::function<bool()>& condition,
                 std::chrono::seconds timeout = std::chrono::seconds(90));
  /// Waits until the event has occurred more than `before` times.
  bool waitForEvent(const std::string& event, int before = 0);

  void runDueTasks() { _queue.runDue(); }

  /// The events in order: "ready", "play 1", "pause", "stall", "seek", "end", "fail", "select
  /// audible". Changes of facts are counted separately.
  const std::vector<std::string>& events() const { return _events; }
  int count(const std::string& event) const;
  int factsChanges() const { return _factsChanges; }
  /// Whether the facts have changed before the load was ready.
  bool haveFactsChangedEarly() const { return _haveFactsChangedEarly; }
  const std::optional<platform::Error>& error() const { return _error; }
  /// Number of callbacks for an older load, or during a call of the engine.
  int misplacedEvents() const { return _misplacedEvents; }

  /// Calls the engine. A callback during the call is counted as misplaced.
  void call(const std::function<void(platform::MediaEngine&)>& body);

 private:
  void _record(std::uint64_t generation, std::string event);
  void engineDidBecomeReady(std::uint64_t generation) override { _record(generation, "ready"); }
  void engineDidPlay(std::uint64_t generation, double rate) override;
  void engineDidPause(std::uint64_t generation) override { _record(generation, "pause"); }
  void engineDidStall(std::uint64_t generation) override { _record(generation, "stall"); }
  void engineDidSeek(std::uint64_t generation) override { _record(generation, "seek"); }
  void engineDidReachEnd(std::uint64_t generation) override { _record(generation, "end"); }
  void engineDidFail(std::uint64_t generation, const platform::Error& error) override;
  void engineFactsDidChange(std::uint64_t generation) override;
  void engineSelectionDidChange(std::uint64_t generation,
                                const std::string& characteristic) override {
    _record(generation, "select " + characteristic);
  }

  platform::SystemClock _clock;
  platform::MainQueue _queue;
  std::unique_ptr<platform::MediaEngine> _engine;
  std::shared_ptr<media::VideoFrames> _frames;
  std::uint64_t _generation = 0;
  bool _inCall = false;
  std::vector<std::string> _events;
  int _factsChanges = 0;
  bool _haveFactsChangedEarly = false;
  int _misplacedEvents = 0;
  std::optional<platform::Error> _error;
};

}  // namespace testing_media
