#include "box/services/door/Door.h"

#include <utility>

#include "box/services/door/DoorLog.h"
#include "box/services/door/DoorLoop.h"
#include "box/services/door/DoorSocket.h"
#include "platform/foundation/Assertion.h"

namespace box {

/// What belongs to the main thread; the loop is shared with the delegate's queue.
struct Door::State {
  platform::MainQueue& mainQueue;
  std::string path;
  DoorSocket socket;
  std::optional<platform::Error> error;
  /// False after close(). Shared with hooks that a late call may still want to run.
  std::shared_ptr<bool> isOpen = std::make_shared<bool>(true);
  std::shared_ptr<platform::SerialQueue> queue;

  bool post(const std::shared_ptr<Loop>& loop, Loop::Signal signal) const {
    if (!*isOpen) return false;
    // Before there is a delegate there are no peers.
    if (queue) queue->async([loop, signal = std::move(signal)] { loop->broadcast(signal); });
    return true;
  }
};

Door::Door(platform::MainQueue& mainQueue, DoorOptions options)
    : _state(new State{mainQueue,
                       options.socketPath.empty() ? defaultSocketPath() : options.socketPath,
                       {},
                       {},
                       std::make_shared<bool>(true),
                       {}}),
      _loop(std::make_shared<Loop>(mainQueue, std::move(options))) {}

Door::~Door() { close(); }

std::string Door::defaultSocketPath() { return DoorSocket::defaultPath(); }

void Door::setBoxInterface(BoxInterface box) { _loop->box().setInterface(std::move(box)); }

void Door::setFatalActionCheck(FatalActionCheck isFatal) {
  if (!isFatal) return _loop->receiver().setFatalActionCheck(nullptr);
  _loop->receiver().setFatalActionCheck(
      [isOpen = _state->isOpen, check = std::move(isFatal)](
          const auto& action, const auto& params) { return *isOpen && check(action, params); });
}

void Door::setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                       std::shared_ptr<platform::SerialQueue> queue) {
  TVS_ASSERT(queue != nullptr);
  TVS_ASSERT_MESSAGE(!_state->queue, "the delegate is set once");
  _state->queue = std::move(queue);
  _loop->receiver().setDelegate(std::move(delegate));
  if (!_loop->prepare()) {
    _state->error = platform::Error::status(-6700);
    _state->error->localizedDescription = "The door cannot be opened: no descriptors are left";
  } else {
    if (_state->socket.open(_state->path, &_state->error)) {
      _loop->listen(std::move(_state->socket.descriptor()));
    }
    _loop->connectToBus();
    _state->queue->setWaiter(_loop);
  }
  if (_state->error) TVSLogError(kDoorLog, "%@", *_state->error->localizedDescription);
}

void Door::postEvent(const char* name, const platform::Dictionary& info) {
  TVS_ASSERT(_state->queue && _state->queue->isCurrent());
  _loop->broadcast({ReceiverObject::kInterface, "Event", name, info});
}

void Door::setNotificationState(std::string_view name, std::uint64_t state) {
  _loop->notifications().setState(name, state);
}

bool Door::postNotification(std::string_view name) {
  return _state->post(_loop,
                      {NotificationsObject::kInterface, "Posted", std::string(name), std::nullopt});
}

bool Door::postDistributedNotification(std::string_view name, const platform::Dictionary& info) {
  return _state->post(_loop,
                      {NotificationsObject::kInterface, "Distributed", std::string(name), info});
}

void Door::whenSent(std::function<void()> done) {
  if (!_state->queue) return done();
  _state->queue->async(std::move(done));
}

const std::optional<platform::Error>& Door::error() const { return _state->error; }

const std::string& Door::socketPath() const { return _state->path; }

void Door::close() {
  if (!std::exchange(*_state->isOpen, false)) return;
  _state->socket.removeFile();
  _loop->box().close();
  _loop->close();
}

}  // namespace box
