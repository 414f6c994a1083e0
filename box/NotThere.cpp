#include "box/NotThere.h"

#include <utility>
#include <vector>

#include "platform/foundation/TVSLogger.h"

namespace box {

namespace {

constexpr std::uint32_t kNoAssertions = 1;

class NoRoutes final : public platform::AudioRoutingController {
 public:
  explicit NoRoutes(platform::MainQueue& mainQueue) : _mainQueue(mainQueue) {}

  void fetchAvailableRoutes(
      std::function<void(std::vector<platform::AudioRoute>)> completion) override {
    _answers.push_back(
        _mainQueue.after({}, [completion = std::move(completion)] { completion({}); }));
  }
  void selectRoute(const platform::AudioRoute&) override {}
  void selectDefaultRoute() override {}

 private:
  platform::MainQueue& _mainQueue;
  // Dropped with this controller, which cancels the answers.
  std::vector<platform::Token> _answers;
};

}  // namespace

void Absence::tell() {
  if (_told.exchange(true)) return;
  TVSLogNotice(TVSSystemLog, "Not available on this box: %@", _what);
}

std::shared_ptr<platform::ProcessAssertion> NoProcessAssertions::acquire(std::string_view,
                                                                         std::uint32_t,
                                                                         std::uint32_t,
                                                                         std::string_view) {
  _absence.tell();
  return std::make_shared<platform::ProcessAssertion>();
}

std::uint32_t NoPowerManager::createAssertion(const platform::Dictionary&, std::uint32_t*) {
  _absence.tell();
  return kNoAssertions;
}

std::shared_ptr<platform::AudioRoutingController> NoAudioRouting::makeController(int) {
  _absence.tell();
  return std::make_shared<NoRoutes>(_mainQueue);
}

void NowPlayingMemory::setNowPlayingInfo(const platform::Dictionary& info, int mergePolicy) {
  _absence.tell();
  if (mergePolicy == 0) {
    _info.merge(info);
  } else {
    _info = info;
  }
}

void NowPlayingMemory::setPlaybackState(platform::NowPlayingPlaybackState state) { _state = state; }

platform::Dictionary NowPlayingMemory::status() const {
  platform::Dictionary status = _info;
  status.remove(platform::kNowPlayingArtworkData);
  if (_state) status.set("playbackState", static_cast<std::uint32_t>(*_state));
  return status;
}

}  // namespace box
