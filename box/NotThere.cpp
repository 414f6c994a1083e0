#include "box/NotThere.h"

#include <utility>
#include <vector>

#include "platform/foundation/TVSLogger.h"

namespace box {

namespace {

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

std::shared_ptr<platform::AudioRoutingController> NoAudioRouting::makeController(int) {
  _absence.tell();
  return std::make_shared<NoRoutes>(_mainQueue);
}

}  // namespace box
