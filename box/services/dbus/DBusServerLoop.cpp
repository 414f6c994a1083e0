#include "box/services/dbus/DBusServerLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "box/services/dbus/DBusNames.h"
#include "box/services/dbus/ValueWriter.h"
#include "box/services/support/PollTimeout.h"

namespace box {

namespace {

constexpr std::size_t kMaximumPeers = 64;
constexpr auto kAcceptRetryDelay = std::chrono::seconds(1);

}  // namespace

DBusServer::Loop::Loop(platform::MainQueue& mainQueue, DBusServerOptions options)
    : _options(std::move(options)),
      _receiver(mainQueue),
      _box(mainQueue, _options.screenshotLimit, _inbox) {
  _box.setTraceHandler([this] { _updateTrace(); });
}

DBusServer::Loop::~Loop() { _closeAll(); }

bool DBusServer::Loop::prepare() {
  _epoll = FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
  return _epoll && _watch(_inbox->descriptor(), EPOLLIN, _inbox.get());
}

void DBusServer::Loop::listen(FileDescriptor socket) {
  _listener = std::move(socket);
  _watch(_listener.get(), EPOLLIN, &_listener);
}

void DBusServer::Loop::connectToBus() {
  if (_options.bus == DBusServerOptions::Bus::None) return;
  const auto kind =
      _options.bus == DBusServerOptions::Bus::Session ? BusKind::Session : BusKind::System;
  _bus.emplace(kind, addressOfBus(kind), kDBusLog);
}

void DBusServer::Loop::_connectToBusIfDue() {
  if (!_bus || _isOnBus || !_bus->isDue()) return;
  _bus->beginAttempt();
  // BusPresence watches the folder of the bus socket until the bus is available. Edge-triggered,
  // because the events of the folder are read after the connection attempt only.
  if (_bus->descriptor() >= 0) _watch(_bus->descriptor(), EPOLLIN | EPOLLET, &_bus);
  int result = 0;
  auto peer =
      Peer::connect(_bus->address(), _objects(), _options, platform::SystemClock().now(), &result);
  _isOnBus = peer && _add(std::move(peer));
  if (!_isOnBus) _bus->didEnd(result < 0 ? result : -ENOMEM);
}

bool DBusServer::Loop::_watch(int descriptor, std::uint32_t interest, void* tag) {
  epoll_event event{};
  event.events = interest;
  event.data.ptr = tag;
  return epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void DBusServer::Loop::wake() { _inbox->wake(); }

void DBusServer::Loop::close() {
  _closing = true;
  wake();
}

void DBusServer::Loop::wait(std::optional<platform::TimePoint> deadline) {
  if (_closing) {
    _closeAll();
    _poll(deadline);
    return;
  }
  _connectToBusIfDue();
  if (const auto own = _deadline()) deadline = deadline ? std::min(*deadline, *own) : own;
  _poll(deadline);
  if (_closing) return;
  const platform::TimePoint now = platform::SystemClock().now();
  _expire(now);
  _serveOne(now);
  _removeClosing();
}

void DBusServer::Loop::_poll(std::optional<platform::TimePoint> deadline) {
  // Not initialized: the kernel fills in the first `count` elements.
  std::array<epoll_event, kMaximumPeers + 3> events;
  const int timeout = _readyConnections.empty() ? pollTimeoutUntil(deadline) : 0;
  const int count =
      epoll_wait(_epoll.get(), events.data(), static_cast<int>(events.size()), timeout);
  for (int index = 0; index < count; ++index) {
    void* const tag = events[static_cast<std::size_t>(index)].data.ptr;
    if (tag == _inbox.get()) {
      _inbox->run();
    } else if (tag == &_listener) {
      _accept();
    } else {
      // The event may be for a closed connection, because a forked child that has not called exec
      // yet holds a copy of its descriptor. Events of the bus folder need no handling either.
      const auto found = std::find_if(_connections.begin(), _connections.end(),
                                      [&](const auto& each) { return each.get() == tag; });
      if (found != _connections.end()) _enqueue(**found);
    }
  }
}

void DBusServer::Loop::_enqueue(Connection& connection) {
  if (!std::exchange(connection.isReady, true)) _readyConnections.push_back(&connection);
}

void DBusServer::Loop::_serveOne(platform::TimePoint now) {
  while (!_readyConnections.empty() && !_closing) {
    Connection& connection = *_readyConnections.front();
    _readyConnections.pop_front();
    connection.isReady = false;
    if (connection.peer->isClosing()) continue;
    const bool wasReady = connection.peer->isReady();
    const Peer::Turn turn = connection.peer->process(now);
    if (!wasReady && connection.peer->isReady() && connection.peer->kind() == Peer::Kind::Bus) {
      _bus->didConnect();
    }
    if (turn == Peer::Turn::Busy) _enqueue(connection);
    _updateInterest(connection);
    if (turn == Peer::Turn::Busy) return;
  }
}

void DBusServer::Loop::_updateInterest(Connection& connection) {
  const std::uint32_t interest = connection.peer->interest();
  if (interest == connection.interest || connection.peer->isClosing()) return;
  epoll_event event{};
  event.events = interest;
  event.data.ptr = &connection;
  epoll_ctl(_epoll.get(), EPOLL_CTL_MOD, connection.peer->descriptor(), &event);
  connection.interest = interest;
}

bool DBusServer::Loop::_add(std::shared_ptr<Peer> peer) {
  auto connection = std::make_unique<Connection>();
  connection->peer = std::move(peer);
  connection->interest = connection->peer->interest();
  if (!_watch(connection->peer->descriptor(), connection->interest, connection.get())) return false;
  _enqueue(*connection);
  _connections.push_back(std::move(connection));
  return true;
}

void DBusServer::Loop::_accept() {
  FileDescriptor socket(accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket) {
    if (errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) _pauseAccepting();
    return;
  }
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) < 0 ||
      (credentials.uid != 0 && credentials.uid != geteuid())) {
    TVSLogNotice(kDBusLog, "Rejected a connection of user %u", credentials.uid);
    return;
  }
  if (_connections.size() >= kMaximumPeers) {
    TVSLogNotice(kDBusLog, "Rejected a connection: there are %lu already", _connections.size());
    return;
  }
  const platform::TimePoint now = platform::SystemClock().now();
  if (auto peer = Peer::accept(std::move(socket), _objects(), _options, now)) _add(std::move(peer));
}

void DBusServer::Loop::_pauseAccepting() {
  TVSLogNotice(kDBusLog, "Cannot accept a connection: no descriptors available; will retry");
  epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, _listener.get(), nullptr);
  _acceptRetryTime = platform::SystemClock().now() + kAcceptRetryDelay;
}

std::optional<platform::TimePoint> DBusServer::Loop::_deadline() const {
  std::optional<platform::TimePoint> earliest = _box.deadline();
  const auto include = [&](std::optional<platform::TimePoint> deadline) {
    if (deadline && (!earliest || *deadline < *earliest)) earliest = deadline;
  };
  include(_acceptRetryTime);
  if (_bus && !_isOnBus) include(_bus->deadline());
  for (const auto& connection : _connections) include(connection->peer->deadline());
  return earliest;
}

void DBusServer::Loop::_expire(platform::TimePoint now) {
  _box.expire(now);
  if (_acceptRetryTime && *_acceptRetryTime <= now) {
    _acceptRetryTime.reset();
    _watch(_listener.get(), EPOLLIN, &_listener);
  }
  for (const auto& connection : _connections) {
    if (const auto deadline = connection->peer->deadline(); deadline && *deadline <= now) {
      _enqueue(*connection);
    }
  }
}

void DBusServer::Loop::broadcast(const Signal& signal) {
  if (_closing) return;
  // The message is built once and sent on every connection.
  sd_bus_message* message = nullptr;
  std::size_t bytes = 0;
  for (const auto& connection : _connections) {
    Peer& peer = *connection->peer;
    if (!peer.isReady() || peer.isClosing() || (signal.isTrace && !peer.isTracing())) continue;
    if (!message) {
      // On a peer-to-peer connection no bus sets the sender, and some clients ignore signals
      // without one.
      if (sd_bus_message_new_signal(peer.bus(), &message, kObjectPath, signal.interface,
                                    signal.member) < 0 ||
          sd_bus_message_set_sender(message, kServerName) < 0) {
        break;
      }
      ValueWriter arguments(message);
      arguments.appendString(signal.name);
      if (signal.info) arguments.appendDictionary(*signal.info);
      if (arguments.error() < 0) {
        TVSLogNotice(kDBusLog, "Cannot encode %@ %@", signal.member, signal.name);
        break;
      }
      bytes = arguments.bytes();
    }
    peer.send(message, bytes);
    _updateInterest(*connection);
  }
  sd_bus_message_unref(message);
  _removeClosing();
}

void DBusServer::Loop::_removeClosing() {
  const auto isClosing = [](const auto& connection) { return connection->peer->isClosing(); };
  if (std::none_of(_connections.begin(), _connections.end(), isClosing)) return;
  for (const auto& connection : _connections) {
    if (!isClosing(connection)) continue;
    // Remove it explicitly: a copy of the descriptor in a child process would keep it in the set.
    if (const int descriptor = connection->peer->descriptor(); descriptor >= 0)
      epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    if (connection->peer->kind() != Peer::Kind::Bus) continue;
    _isOnBus = false;
    _bus->didEnd(-EPIPE);
  }
  std::erase_if(_readyConnections,
                [](const Connection* connection) { return connection->peer->isClosing(); });
  std::erase_if(_connections, isClosing);
  _updateTrace();
}

void DBusServer::Loop::_updateTrace() {
  const bool isTracing =
      std::any_of(_connections.begin(), _connections.end(),
                  [](const auto& connection) { return connection->peer->isTracing(); });
  if (isTracing == (_logForwarder != nullptr)) return;
  if (isTracing) {
    _logForwarder = std::make_shared<LogForwarder>(_inbox, [this] { _sendLogLines(); });
    TVSLogger::addSink(_logForwarder);
  } else {
    TVSLogger::removeSink(_logForwarder);
    _logForwarder = nullptr;
  }
  TVSLogger::setMinimumLevel(isTracing ? static_cast<int>(platform::LogLevel::Notice) : 0);
}

void DBusServer::Loop::_sendLogLines() {
  if (!_logForwarder) return;
  for (auto& [text, info] : _logForwarder->take()) {
    broadcast({BoxObject::kInterface, "Log", std::move(text), std::move(info), true});
    if (!_logForwarder) return;  // the last tracing peer was disconnected
  }
}

void DBusServer::Loop::_closeAll() {
  _inbox->close();
  _box.dropPending();
  _readyConnections.clear();
  _connections.clear();
  _updateTrace();
  _listener.reset();
  _acceptRetryTime.reset();
}

}  // namespace box
