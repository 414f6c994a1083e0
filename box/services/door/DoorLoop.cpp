#include "box/services/door/DoorLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "box/services/door/DoorLog.h"
#include "box/services/door/ValueWriter.h"

namespace box {

namespace {

constexpr std::size_t kMaximumPeers = 64;
constexpr auto kListenPause = std::chrono::seconds(1);

/// Not later than the deadline by more than a millisecond, and never earlier.
int timeoutUntil(std::optional<platform::TimePoint> deadline) {
  if (!deadline) return -1;
  const auto rest = *deadline - platform::SystemClock().now();
  if (rest <= platform::Duration::zero()) return 0;
  const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(rest).count();
  return static_cast<int>(std::min<std::int64_t>(milliseconds, INT_MAX));
}

}  // namespace

Door::Loop::Loop(platform::MainQueue& mainQueue, DoorOptions options)
    : _options(std::move(options)),
      _receiver(mainQueue),
      _box(mainQueue, _options.screenshotLimit, _inbox) {}

Door::Loop::~Loop() { _inbox->close(); }

bool Door::Loop::prepare() {
  _epoll = FileDescriptor(epoll_create1(EPOLL_CLOEXEC));
  return _epoll && _watch(_inbox->descriptor(), EPOLLIN, _inbox.get());
}

void Door::Loop::listen(FileDescriptor socket) {
  _listener = std::move(socket);
  _watch(_listener.get(), EPOLLIN, &_listener);
}

void Door::Loop::connectToBus() {
  if (_options.bus == DoorOptions::Bus::None) return;
  const auto kind = _options.bus == DoorOptions::Bus::Session ? BusKind::Session : BusKind::System;
  _bus.emplace(kind, addressOfBus(kind), kDoorLog);
}

void Door::Loop::_tryBus() {
  if (!_bus || _isOnBus || !_bus->isDue()) return;
  _bus->beginAttempt();
  // Until it is there its folder is watched; that may be so already. What comes during the attempt
  // is read after it.
  if (_bus->descriptor() >= 0) _watch(_bus->descriptor(), EPOLLIN | EPOLLET, &_bus);
  int result = 0;
  auto peer =
      Peer::connect(_bus->address(), _objects(), _options, platform::SystemClock().now(), &result);
  _isOnBus = peer && _add(std::move(peer));
  if (!_isOnBus) _bus->didEnd(result < 0 ? result : -ENOMEM);
}

bool Door::Loop::_watch(int descriptor, std::uint32_t interest, void* tag) {
  epoll_event event{};
  event.events = interest;
  event.data.ptr = tag;
  return epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void Door::Loop::wake() { _inbox->wake(); }

void Door::Loop::close() {
  _closing = true;
  wake();
}

void Door::Loop::wait(std::optional<platform::TimePoint> deadline) {
  if (_closing) {
    _closeAll();
    _poll(deadline);
    return;
  }
  _tryBus();
  if (const auto own = _deadline()) deadline = deadline ? std::min(*deadline, *own) : own;
  _poll(deadline);
  if (_closing) return;
  const platform::TimePoint now = platform::SystemClock().now();
  _expire(now);
  _serveOne(now);
  _dropDoomed();
}

void Door::Loop::_poll(std::optional<platform::TimePoint> deadline) {
  // Filled by the kernel as far as it is read.
  std::array<epoll_event, kMaximumPeers + 3> events;
  const int timeout = _turns.empty() ? timeoutUntil(deadline) : 0;
  const int count =
      epoll_wait(_epoll.get(), events.data(), static_cast<int>(events.size()), timeout);
  for (int index = 0; index < count; ++index) {
    void* const tag = events[static_cast<std::size_t>(index)].data.ptr;
    if (tag == _inbox.get()) {
      _inbox->run();
    } else if (tag == &_listener) {
      _accept();
    } else {
      // A child process that has not executed its program yet holds copies of descriptors, so that
      // the kernel may report a connection that is gone. Those of the bus's folder need no turn.
      const auto found = std::find_if(_connections.begin(), _connections.end(),
                                      [&](const auto& each) { return each.get() == tag; });
      if (found != _connections.end()) _giveTurn(**found);
    }
  }
}

void Door::Loop::_giveTurn(Connection& connection) {
  if (!std::exchange(connection.isReady, true)) _turns.push_back(&connection);
}

void Door::Loop::_serveOne(platform::TimePoint now) {
  while (!_turns.empty() && !_closing) {
    Connection& connection = *_turns.front();
    _turns.pop_front();
    connection.isReady = false;
    if (connection.peer->isDoomed()) continue;
    const bool wasReady = connection.peer->isReady();
    const Peer::Turn turn = connection.peer->process(now);
    if (!wasReady && connection.peer->isReady() && connection.peer->kind() == Peer::Kind::Bus) {
      _bus->didConnect();
    }
    if (turn == Peer::Turn::Busy) _giveTurn(connection);
    _updateInterest(connection);
    if (turn == Peer::Turn::Busy) return;
  }
}

void Door::Loop::_updateInterest(Connection& connection) {
  const std::uint32_t interest = connection.peer->interest();
  if (interest == connection.interest || connection.peer->isDoomed()) return;
  epoll_event event{};
  event.events = interest;
  event.data.ptr = &connection;
  epoll_ctl(_epoll.get(), EPOLL_CTL_MOD, connection.peer->descriptor(), &event);
  connection.interest = interest;
}

bool Door::Loop::_add(std::shared_ptr<Peer> peer) {
  auto connection = std::make_unique<Connection>();
  connection->peer = std::move(peer);
  connection->interest = connection->peer->interest();
  if (!_watch(connection->peer->descriptor(), connection->interest, connection.get())) return false;
  _giveTurn(*connection);
  _connections.push_back(std::move(connection));
  return true;
}

void Door::Loop::_accept() {
  FileDescriptor socket(accept4(_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket) {
    if (errno != EAGAIN && errno != ECONNABORTED && errno != EINTR) _pauseListening();
    return;
  }
  ucred credentials{};
  socklen_t size = sizeof credentials;
  if (getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &credentials, &size) < 0 ||
      (credentials.uid != 0 && credentials.uid != geteuid())) {
    TVSLogNotice(kDoorLog, "A connection is refused: it comes from user %u", credentials.uid);
    return;
  }
  if (_connections.size() >= kMaximumPeers) {
    TVSLogNotice(kDoorLog, "A connection is refused: there are %lu already", _connections.size());
    return;
  }
  const platform::TimePoint now = platform::SystemClock().now();
  if (auto peer = Peer::accept(std::move(socket), _objects(), _options, now)) _add(std::move(peer));
}

void Door::Loop::_pauseListening() {
  TVSLogNotice(kDoorLog, "No connection can be taken for a while: no descriptors are left");
  epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, _listener.get(), nullptr);
  _listensAgain = platform::SystemClock().now() + kListenPause;
}

std::optional<platform::TimePoint> Door::Loop::_deadline() const {
  std::optional<platform::TimePoint> earliest = _box.deadline();
  const auto include = [&](std::optional<platform::TimePoint> deadline) {
    if (deadline && (!earliest || *deadline < *earliest)) earliest = deadline;
  };
  include(_listensAgain);
  if (_bus && !_isOnBus) include(_bus->deadline());
  for (const auto& connection : _connections) include(connection->peer->deadline());
  return earliest;
}

void Door::Loop::_expire(platform::TimePoint now) {
  _box.expire(now);
  if (_listensAgain && *_listensAgain <= now) {
    _listensAgain.reset();
    _watch(_listener.get(), EPOLLIN, &_listener);
  }
  for (const auto& connection : _connections) {
    if (const auto deadline = connection->peer->deadline(); deadline && *deadline <= now) {
      _giveTurn(*connection);
    }
  }
}

void Door::Loop::broadcast(const Signal& signal) {
  if (_closing) return;
  // Made once, and sent on every connection.
  sd_bus_message* message = nullptr;
  std::size_t bytes = 0;
  for (const auto& connection : _connections) {
    Peer& peer = *connection->peer;
    if (!peer.isReady() || peer.isDoomed()) continue;
    if (!message) {
      // A message bus puts its own sender in; without one nobody else does, and some clients pass
      // on no signal that has none.
      if (sd_bus_message_new_signal(peer.bus(), &message, kDoorPath, signal.interface,
                                    signal.member) < 0 ||
          sd_bus_message_set_sender(message, kDoorPeerName) < 0) {
        break;
      }
      ValueWriter arguments(message);
      arguments.appendString(signal.name);
      if (signal.info) arguments.appendDictionary(*signal.info);
      if (arguments.error() < 0) {
        TVSLogNotice(kDoorLog, "%@ %@ has no form for the door", signal.member, signal.name);
        break;
      }
      bytes = arguments.bytes();
    }
    peer.send(message, bytes);
    _updateInterest(*connection);
  }
  sd_bus_message_unref(message);
  _dropDoomed();
}

void Door::Loop::_dropDoomed() {
  const auto isDoomed = [](const auto& connection) { return connection->peer->isDoomed(); };
  if (std::none_of(_connections.begin(), _connections.end(), isDoomed)) return;
  for (const auto& connection : _connections) {
    if (!isDoomed(connection)) continue;
    // Otherwise a copy of the descriptor would keep it watched.
    if (const int descriptor = connection->peer->descriptor(); descriptor >= 0)
      epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    if (connection->peer->kind() != Peer::Kind::Bus) continue;
    _isOnBus = false;
    _bus->didEnd(-EPIPE);
  }
  std::erase_if(_turns, [](const Connection* connection) { return connection->peer->isDoomed(); });
  std::erase_if(_connections, isDoomed);
}

void Door::Loop::_closeAll() {
  _inbox->close();
  _box.abandon();
  _turns.clear();
  _connections.clear();
  _listener.reset();
  _listensAgain.reset();
}

}  // namespace box
