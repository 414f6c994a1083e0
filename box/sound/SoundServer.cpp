#include "box/sound/SoundServer.h"

#include <cstdlib>
#include <filesystem>
#include <list>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include <pulse/pulseaudio.h>
#include <unistd.h>

#include "box/services/support/FileWatch.h"

namespace box {

namespace {

constexpr const char* kDeviceTypeProperty = "vorlane.device-type";
constexpr const char* kUnixPrefix = "unix:";
// A server creates its socket shortly before it listens, so a connection may need retries.
constexpr pa_usec_t kFirstRetry = 50 * PA_USEC_PER_MSEC;
constexpr int kMaxRetries = 6;  // each delay is twice the one before

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string text(const pa_proplist* properties, const char* key) {
  const char* value = pa_proplist_gets(properties, key);
  return value ? value : "";
}

bool isOwn(const pa_sink_input_info& input) {
  return text(input.proplist, PA_PROP_APPLICATION_PROCESS_ID) == std::to_string(getpid());
}

void unref(pa_operation* operation) {
  if (operation) pa_operation_unref(operation);
}

}  // namespace

std::vector<std::string> soundServerSockets() {
  if (const std::string serverAddress = variable("PULSE_SERVER"); !serverAddress.empty()) {
    if (serverAddress.starts_with('/')) return {serverAddress};
    if (serverAddress.starts_with(kUnixPrefix))
      return {serverAddress.substr(std::string_view(kUnixPrefix).size())};
    return {};
  }
  std::vector<std::string> paths;
  if (const std::string runtimePath = variable("PULSE_RUNTIME_PATH"); !runtimePath.empty())
    paths.push_back(runtimePath + "/native");
  else if (const std::string runtime = variable("XDG_RUNTIME_DIR"); !runtime.empty())
    paths.push_back(runtime + "/pulse/native");
  paths.emplace_back("/run/pulse/native");
  return paths;
}

/// All functions run with the lock of the loop held.
class SoundServer::Connection {
 public:
  /// Null without descriptors for the loop.
  static std::unique_ptr<Connection> make(const Events& events) {
    pa_threaded_mainloop* const loop = pa_threaded_mainloop_new();
    return loop ? std::make_unique<Connection>(events, loop) : nullptr;
  }

  /// Takes `loop`.
  Connection(const Events& events, pa_threaded_mainloop* loop) : _events(events), _loop(loop) {
    _api = pa_threaded_mainloop_get_api(_loop);
    for (std::string& path : soundServerSockets()) {
      Socket& socket = _sockets.emplace_back(this, std::move(path));
      if (socket.appearance.descriptor() < 0) continue;
      socket.watch = _api->io_new(_api, socket.appearance.descriptor(), PA_IO_EVENT_INPUT,
                                  _onAppearance, &socket);
    }
    pa_threaded_mainloop_start(_loop);
    const Lock lock(_loop);
    _connect();
  }

  ~Connection() {
    {
      const Lock lock(_loop);
      _cancelRetry();
      _disconnect();
      _fetches.clear();
      for (const Socket& socket : _sockets)
        if (socket.watch) _api->io_free(socket.watch);
    }
    pa_threaded_mainloop_stop(_loop);
    pa_threaded_mainloop_free(_loop);
  }

  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void fetchSinks(SinksCallback callback) {
    const Lock lock(_loop);
    if (!_ready) return callback(std::nullopt);
    Fetch& fetch = _fetches.emplace_back(Fetch{this, std::move(callback), {}, {}});
    unref(pa_context_get_server_info(_context, _onServer, &fetch));
    // Replies arrive in the order of the requests.
    unref(pa_context_get_sink_info_list(_context, _onSink, &fetch));
  }

  void selectSink(const std::string& name) {
    const Lock lock(_loop);
    if (!_ready) return;
    unref(pa_context_set_default_sink(_context, name.c_str(), nullptr, nullptr));
    for (const auto& [stream, sink] : _streams)
      unref(pa_context_move_sink_input_by_name(_context, stream, name.c_str(), nullptr, nullptr));
  }

 private:
  class Lock {
   public:
    explicit Lock(pa_threaded_mainloop* loop) : _loop(loop) { pa_threaded_mainloop_lock(_loop); }
    ~Lock() { pa_threaded_mainloop_unlock(_loop); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

   private:
    pa_threaded_mainloop* const _loop;
  };

  /// A path where the socket of a server may appear.
  struct Socket {
    Socket(Connection* owner, std::string socketPath)
        : connection(owner), path(std::move(socketPath)), appearance(path) {}
    Connection* const connection;
    const std::string path;
    FileWatch appearance;
    pa_io_event* watch = nullptr;
  };

  struct Fetch {
    Connection* connection;
    SinksCallback callback;
    std::string defaultSink;
    std::vector<SoundSink> sinks;
  };

  // Connecting and disconnecting.

  void _connect() {
    _cancelRetry();
    _disconnect();
    pa_proplist* const properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "TVVorlane");
    _context = pa_context_new_with_proplist(_api, nullptr, properties);
    pa_proplist_free(properties);
    pa_context_set_state_callback(_context, _onState, this);
    pa_context_set_subscribe_callback(_context, _onEvent, this);
    if (pa_context_connect(_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
      _didDisconnect();
  }

  static void _onState(pa_context* context, void* self) {
    auto& connection = *static_cast<Connection*>(self);
    if (context != connection._context) return;
    switch (pa_context_get_state(context)) {
      case PA_CONTEXT_READY:
        connection._didConnect();
        break;
      case PA_CONTEXT_FAILED:
      case PA_CONTEXT_TERMINATED:
        connection._didDisconnect();
        break;
      default:
        break;
    }
  }

  void _didConnect() {
    _ready = true;
    _retries = 0;
    unref(pa_context_subscribe(_context,
                               static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK |
                                                                   PA_SUBSCRIPTION_MASK_SINK_INPUT),
                               nullptr, nullptr));
    unref(pa_context_get_sink_input_info_list(_context, _onStream, this));
    _notify(true);
  }

  void _didDisconnect() {
    _ready = false;
    _streams.clear();
    for (Fetch& fetch : _fetches) fetch.callback(std::nullopt);
    _fetches.clear();
    _notify(false);
    std::error_code ignored;
    for (const Socket& socket : _sockets)
      if (std::filesystem::exists(socket.path, ignored)) return _retryLater();
  }

  void _notify(bool connected) {
    if (_reported == connected) return;
    _reported = connected;
    _events.connectionChanged(connected);
  }

  /// Must not be called within a callback of the context.
  void _disconnect() {
    if (!_context) return;
    pa_context_set_state_callback(_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(_context, nullptr, nullptr);
    pa_context_disconnect(_context);
    pa_context_unref(std::exchange(_context, nullptr));
    _ready = false;
  }

  void _retryLater() {
    if (_retry || _retries == kMaxRetries) return;
    timeval when{};
    pa_timeval_add(pa_gettimeofday(&when), kFirstRetry << _retries);
    ++_retries;
    _retry = _api->time_new(_api, &when, _onRetry, this);
  }

  void _cancelRetry() {
    if (_retry) _api->time_free(std::exchange(_retry, nullptr));
  }

  static void _onRetry(pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
    static_cast<Connection*>(self)->_connect();
  }

  static void _onAppearance(pa_mainloop_api*, pa_io_event*, int, pa_io_event_flags_t, void* data) {
    auto& socket = *static_cast<Socket*>(data);
    Connection& connection = *socket.connection;
    if (!socket.appearance.take() || connection._ready) return;
    connection._retries = 0;
    connection._retryLater();
  }

  // Sinks.

  static void _onServer(pa_context*, const pa_server_info* info, void* data) {
    if (info && info->default_sink_name)
      static_cast<Fetch*>(data)->defaultSink = info->default_sink_name;
  }

  static void _onSink(pa_context*, const pa_sink_info* info, int end, void* data) {
    Fetch& fetch = *static_cast<Fetch*>(data);
    if (end != 0) return fetch.connection->_finish(fetch);
    fetch.sinks.push_back({.name = info->name,
                           .description = info->description ? info->description : "",
                           .deviceType = text(info->proplist, kDeviceTypeProperty),
                           .isHardware = (info->flags & PA_SINK_HARDWARE) != 0,
                           .isServerDefault = info->name == fetch.defaultSink});
  }

  void _finish(Fetch& fetch) {
    fetch.callback(std::move(fetch.sinks));
    _fetches.remove_if([&](const Fetch& one) { return &one == &fetch; });
  }

  // Streams of this process by their sink.

  static void _onEvent(pa_context* context, pa_subscription_event_type_t event, std::uint32_t index,
                       void* self) {
    auto& connection = *static_cast<Connection*>(self);
    const bool removed = (event & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    const bool isSink = (event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_SINK;
    if (isSink) {
      if (removed) connection._sinkRemoved(index);
    } else if (removed) {
      connection._streams.erase(index);
    } else {
      unref(pa_context_get_sink_input_info(context, index, _onStream, self));
    }
  }

  static void _onStream(pa_context*, const pa_sink_input_info* info, int end, void* self) {
    if (end == 0 && isOwn(*info))
      static_cast<Connection*>(self)->_streams[info->index] = info->sink;
  }

  /// Uses the last known sink of each stream: the server may have moved the stream already, but the
  /// reply that reports that arrives later.
  void _sinkRemoved(std::uint32_t sink) {
    for (const auto& [stream, playsTo] : _streams)
      if (playsTo == sink) return _events.sinkRemoved();
  }

  const Events& _events;
  pa_threaded_mainloop* const _loop;
  pa_mainloop_api* _api = nullptr;
  std::list<Socket> _sockets;
  pa_time_event* _retry = nullptr;
  int _retries = 0;
  pa_context* _context = nullptr;
  bool _ready = false;
  std::optional<bool> _reported;
  std::list<Fetch> _fetches;
  std::map<std::uint32_t, std::uint32_t> _streams;
};

SoundServer::SoundServer(Events events) : _events(std::move(events)) {}

SoundServer::~SoundServer() = default;

void SoundServer::start() {
  if (_connection) return;
  _connection = Connection::make(_events);
  if (!_connection && _events.connectionChanged) _events.connectionChanged(false);
}

void SoundServer::stop() { _connection.reset(); }

void SoundServer::fetchSinks(SinksCallback callback) {
  if (_connection)
    _connection->fetchSinks(std::move(callback));
  else
    callback(std::nullopt);
}

void SoundServer::selectSink(const std::string& name) {
  if (_connection) _connection->selectSink(name);
}

}  // namespace box
