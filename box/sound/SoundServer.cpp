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

#include "box/services/support/FileAppearance.h"

namespace box {

namespace {

constexpr const char* kDeviceTypeProperty = "vorlane.device-type";
constexpr const char* kUnixPrefix = "unix:";
// A server's socket is there a moment before the server listens.
constexpr pa_usec_t kFirstRetry = 50 * PA_USEC_PER_MSEC;
constexpr int kRetries = 6;  // each after twice the time of the one before

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

void forget(pa_operation* operation) {
  if (operation) pa_operation_unref(operation);
}

}  // namespace

std::vector<std::string> soundServerSockets() {
  if (const std::string named = variable("PULSE_SERVER"); !named.empty()) {
    if (named.starts_with('/')) return {named};
    if (named.starts_with(kUnixPrefix)) return {named.substr(std::string_view(kUnixPrefix).size())};
    return {};
  }
  std::vector<std::string> paths;
  if (const std::string own = variable("PULSE_RUNTIME_PATH"); !own.empty())
    paths.push_back(own + "/native");
  else if (const std::string runtime = variable("XDG_RUNTIME_DIR"); !runtime.empty())
    paths.push_back(runtime + "/pulse/native");
  paths.emplace_back("/run/pulse/native");
  return paths;
}

/// Everything runs with the loop's lock held: on its own thread, or on another that has taken it.
class SoundServer::Connection {
 public:
  explicit Connection(const Events& events) : _events(events), _loop(pa_threaded_mainloop_new()) {
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
      _letGo();
      _fetches.clear();
      for (const Socket& socket : _sockets)
        if (socket.watch) _api->io_free(socket.watch);
    }
    pa_threaded_mainloop_stop(_loop);
    pa_threaded_mainloop_free(_loop);
  }

  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void fetchSinks(SinksAnswer answer) {
    const Lock lock(_loop);
    if (!_ready) return answer(std::nullopt);
    Fetch& fetch = _fetches.emplace_back(Fetch{this, std::move(answer), {}, {}});
    forget(pa_context_get_server_info(_context, _onServer, &fetch));
    // Answers come in the order of the questions.
    forget(pa_context_get_sink_info_list(_context, _onSink, &fetch));
  }

  void selectSink(const std::string& name) {
    const Lock lock(_loop);
    if (!_ready) return;
    forget(pa_context_set_default_sink(_context, name.c_str(), nullptr, nullptr));
    for (const auto& [stream, sink] : _streams)
      forget(pa_context_move_sink_input_by_name(_context, stream, name.c_str(), nullptr, nullptr));
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

  /// Where a server may appear.
  struct Socket {
    Socket(Connection* theConnection, std::string thePath)
        : connection(theConnection), path(std::move(thePath)), appearance(path) {}
    Connection* const connection;
    const std::string path;
    FileAppearance appearance;
    pa_io_event* watch = nullptr;
  };

  struct Fetch {
    Connection* connection;
    SinksAnswer answer;
    std::string defaultSink;
    std::vector<SoundSink> sinks;
  };

  // Coming and going.

  void _connect() {
    _cancelRetry();
    _letGo();
    pa_proplist* const properties = pa_proplist_new();
    pa_proplist_sets(properties, PA_PROP_APPLICATION_NAME, "TVVorlane");
    _context = pa_context_new_with_proplist(_api, nullptr, properties);
    pa_proplist_free(properties);
    pa_context_set_state_callback(_context, _onState, this);
    pa_context_set_subscribe_callback(_context, _onEvent, this);
    if (pa_context_connect(_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) _isGone();
  }

  static void _onState(pa_context* context, void* self) {
    auto& connection = *static_cast<Connection*>(self);
    if (context != connection._context) return;
    switch (pa_context_get_state(context)) {
      case PA_CONTEXT_READY:
        connection._isReady();
        break;
      case PA_CONTEXT_FAILED:
      case PA_CONTEXT_TERMINATED:
        connection._isGone();
        break;
      default:
        break;
    }
  }

  void _isReady() {
    _ready = true;
    _retries = 0;
    forget(pa_context_subscribe(_context,
                                static_cast<pa_subscription_mask_t>(
                                    PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SINK_INPUT),
                                nullptr, nullptr));
    forget(pa_context_get_sink_input_info_list(_context, _onStream, this));
    _tell(true);
  }

  void _isGone() {
    _ready = false;
    _streams.clear();
    for (Fetch& fetch : _fetches) fetch.answer(std::nullopt);
    _fetches.clear();
    _tell(false);
    std::error_code ignored;
    for (const Socket& socket : _sockets)
      if (std::filesystem::exists(socket.path, ignored)) return _retryLater();
  }

  void _tell(bool connected) {
    if (_told == connected) return;
    _told = connected;
    _events.connectionChanged(connected);
  }

  /// The context must not go within a callback of its own.
  void _letGo() {
    if (!_context) return;
    pa_context_set_state_callback(_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(_context, nullptr, nullptr);
    pa_context_disconnect(_context);
    pa_context_unref(std::exchange(_context, nullptr));
    _ready = false;
  }

  void _retryLater() {
    if (_retry || _retries == kRetries) return;
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
    if (end != 0) return fetch.connection->_answer(fetch);
    fetch.sinks.push_back({.name = info->name,
                           .description = info->description ? info->description : "",
                           .deviceType = text(info->proplist, kDeviceTypeProperty),
                           .isHardware = (info->flags & PA_SINK_HARDWARE) != 0,
                           .isServerDefault = info->name == fetch.defaultSink});
  }

  void _answer(Fetch& fetch) {
    fetch.answer(std::move(fetch.sinks));
    _fetches.remove_if([&](const Fetch& one) { return &one == &fetch; });
  }

  // The streams of this process, by the sinks that they play to.

  static void _onEvent(pa_context* context, pa_subscription_event_type_t event, std::uint32_t index,
                       void* self) {
    auto& connection = *static_cast<Connection*>(self);
    const bool removed = (event & PA_SUBSCRIPTION_EVENT_TYPE_MASK) == PA_SUBSCRIPTION_EVENT_REMOVE;
    const bool isSink = (event & PA_SUBSCRIPTION_EVENT_FACILITY_MASK) == PA_SUBSCRIPTION_EVENT_SINK;
    if (isSink) {
      if (removed) connection._sinkIsGone(index);
    } else if (removed) {
      connection._streams.erase(index);
    } else {
      forget(pa_context_get_sink_input_info(context, index, _onStream, self));
    }
  }

  static void _onStream(pa_context*, const pa_sink_input_info* info, int end, void* self) {
    if (end == 0 && isOwn(*info))
      static_cast<Connection*>(self)->_streams[info->index] = info->sink;
  }

  /// The server may have moved a stream before it tells; the answer that says so comes later.
  void _sinkIsGone(std::uint32_t sink) {
    for (const auto& [stream, playsTo] : _streams)
      if (playsTo == sink) return _events.sinkTakenAway();
  }

  const Events& _events;
  pa_threaded_mainloop* const _loop;
  pa_mainloop_api* _api = nullptr;
  std::list<Socket> _sockets;
  pa_time_event* _retry = nullptr;
  int _retries = 0;
  pa_context* _context = nullptr;
  bool _ready = false;
  std::optional<bool> _told;
  std::list<Fetch> _fetches;
  std::map<std::uint32_t, std::uint32_t> _streams;
};

SoundServer::SoundServer(Events events) : _events(std::move(events)) {}

SoundServer::~SoundServer() = default;

void SoundServer::start() {
  if (!_connection) _connection = std::make_unique<Connection>(_events);
}

void SoundServer::stop() { _connection.reset(); }

void SoundServer::fetchSinks(SinksAnswer answer) {
  if (_connection)
    _connection->fetchSinks(std::move(answer));
  else
    answer(std::nullopt);
}

void SoundServer::selectSink(const std::string& name) {
  if (_connection) _connection->selectSink(name);
}

}  // namespace box
