#include "box/services/dbus/DBusServer.h"

#include <utility>

#include "box/services/dbus/DBusNames.h"
#include "box/services/dbus/DBusServerLoop.h"
#include "box/services/dbus/DBusServerSocket.h"
#include "platform/foundation/Assertion.h"

namespace box {

/// State of the main thread. The loop is shared with the delegate's queue.
struct DBusServer::State {
  platform::MainQueue& mainQueue;
  std::string path;
  DBusServerSocket socket;
  std::optional<platform::Error> error;
  /// False after close(). Shared with callbacks that may still run afterwards.
  std::shared_ptr<bool> isOpen = std::make_shared<bool>(true);
  std::shared_ptr<platform::SerialQueue> queue;

  bool post(const std::shared_ptr<Loop>& loop, Loop::Signal signal) const {
    if (!*isOpen) return false;
    // Without a delegate there are no peers.
    if (queue) queue->async([loop, signal = std::move(signal)] { loop->broadcast(signal); });
    return true;
  }
};

DBusServer::DBusServer(platform::MainQueue& mainQueue, DBusServerOptions options)
    : _state(new State{mainQueue,
                       options.socketPath.empty() ? defaultSocketPath() : options.socketPath,
                       {},
                       {},
                       std::make_shared<bool>(true),
                       {}}),
      _loop(std::make_shared<Loop>(mainQueue, std::move(options))) {}

DBusServer::~DBusServer() { close(); }

std::string DBusServer::defaultSocketPath() { return DBusServerSocket::defaultPath(); }

void DBusServer::setBoxInterface(BoxInterface box) { _loop->box().setInterface(std::move(box)); }

void DBusServer::setFatalActionCheck(FatalActionCheck isFatal) {
  if (!isFatal) return _loop->receiver().setFatalActionCheck(nullptr);
  _loop->receiver().setFatalActionCheck(
      [isOpen = _state->isOpen, check = std::move(isFatal)](
          const auto& action, const auto& params) { return *isOpen && check(action, params); });
}

void DBusServer::setDelegate(std::weak_ptr<VorlaneReceiverUIDelegate> delegate,
                             std::shared_ptr<platform::SerialQueue> queue) {
  TVS_ASSERT(queue != nullptr);
  TVS_ASSERT_MESSAGE(!_state->queue, "setDelegate() may be called once");
  _state->queue = std::move(queue);
  _loop->receiver().setDelegate(std::move(delegate));
  if (!_loop->prepare()) {
    _state->error = platform::Error::status(-6700);
    _state->error->localizedDescription = "Cannot open the D-Bus server: no descriptors available";
  } else {
    if (_state->socket.open(_state->path, &_state->error)) {
      _loop->listen(std::move(_state->socket.descriptor()));
    }
    _loop->connectToBus();
    _state->queue->setWaiter(_loop);
  }
  if (_state->error) TVSLogError(kDBusLog, "%@", *_state->error->localizedDescription);
}

void DBusServer::postEvent(const char* name, const platform::Dictionary& info) {
  TVS_ASSERT(_state->queue && _state->queue->isCurrent());
  _loop->broadcast({ReceiverObject::kInterface, "Event", name, info});
}

void DBusServer::setNotificationState(std::string_view name, std::uint64_t state) {
  _loop->notifications().setState(name, state);
}

bool DBusServer::postNotification(std::string_view name) {
  return _state->post(_loop,
                      {NotificationsObject::kInterface, "Posted", std::string(name), std::nullopt});
}

bool DBusServer::postDistributedNotification(std::string_view name,
                                             const platform::Dictionary& info) {
  return _state->post(_loop,
                      {NotificationsObject::kInterface, "Distributed", std::string(name), info});
}

void DBusServer::callAfterSending(std::function<void()> done) {
  if (!_state->queue) return done();
  _state->queue->async(std::move(done));
}

const std::optional<platform::Error>& DBusServer::error() const { return _state->error; }

const std::string& DBusServer::socketPath() const { return _state->path; }

void DBusServer::close() {
  if (!std::exchange(*_state->isOpen, false)) return;
  _state->socket.removeFile();
  _loop->box().close();
  _loop->close();
}

}  // namespace box
