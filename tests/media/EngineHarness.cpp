#include "tests/media/EngineHarness.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include "platform/foundation/queues/WorkerThreads.h"
#include "platform/media/TVSMediaItem.h"

namespace testing_media {

EngineHarness::EngineHarness(bool allowFileURLs, std::vector<std::string> preferredLanguages)
    : EngineHarness([&](platform::MainQueue& queue, const platform::Clock& clock) {
        return makeTestedEngine(queue, clock, allowFileURLs, preferredLanguages);
      }) {}

EngineHarness::EngineHarness(const EngineMaker& makeEngine)
    : _queue(_clock, std::make_shared<platform::ConditionWaiter>(_clock)),
      _engine(makeEngine(_queue, _clock)),
      _frames(std::static_pointer_cast<media::VideoFrames>(_engine->videoOutput())) {
  _queue.bindToCurrentThread();
  _engine->setObserver(this);
}

EngineHarness::~EngineHarness() {
  _engine.reset();
  platform::WorkerThreads::waitForAll(std::chrono::seconds(30));
}

void EngineHarness::load(const std::string& url, platform::MediaLoad load,
                         const std::function<void(TVSMediaItem&)>& configure) {
  load.generation = ++_generation;
  if (!load.item) load.item = std::make_shared<TVSURLMediaItem>(url, std::vector<std::string>{});
  if (configure) configure(*load.item);
  _events.clear();
  _factsChanges = 0;
  _haveFactsChangedEarly = false;
  _error.reset();
  call([&](platform::MediaEngine& engine) { engine.load(load); });
}

void EngineHarness::call(const std::function<void(platform::MediaEngine&)>& body) {
  _inCall = true;
  body(*_engine);
  _inCall = false;
}

bool EngineHarness::waitUntil(const std::function<bool()>& condition,
                              std::chrono::seconds timeout) {
  const platform::TimePoint limit = _clock.now() + timeout;
  // A new picture ends the wait, too, not only a task of the queue.
  _frames->setWakeup([this] { _queue.wake(); });
  bool so = condition();
  while (!so && _clock.now() < limit) {
    if (!_queue.runDue()) _queue.waitForWork(limit);
    so = condition();
  }
  _frames->setWakeup(nullptr);
  return so;
}

bool EngineHarness::waitForEvent(const std::string& event, int before) {
  return waitUntil([&] { return count(event) > before; });
}

int EngineHarness::count(const std::string& event) const {
  return static_cast<int>(std::count(_events.begin(), _events.end(), event));
}

void EngineHarness::_record(std::uint64_t generation, std::string event) {
  if (generation != _generation || _inCall || !_queue.isCurrent()) ++_misplacedEvents;
  _events.push_back(std::move(event));
}

void EngineHarness::engineDidPlay(std::uint64_t generation, double rate) {
  std::ostringstream text;
  text << "play " << rate;
  _record(generation, text.str());
}

void EngineHarness::engineDidFail(std::uint64_t generation, const platform::Error& error) {
  _error = error;
  _record(generation, "fail");
}

void EngineHarness::engineFactsDidChange(std::uint64_t generation) {
  if (generation != _generation || _inCall) ++_misplacedEvents;
  ++_factsChanges;
  if (count("ready") == 0) _haveFactsChangedEarly = true;
}

}  // namespace testing_media
