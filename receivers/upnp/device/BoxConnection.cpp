#include "receivers/upnp/device/BoxConnection.h"

#include <utility>

#include <glib-unix.h>

#include "receivers/upnp/device/Log.h"

namespace upnp {

namespace {

using tvvorlane::Reply;
using tvvorlane::Value;

// The socket's file may appear before the box accepts connections. Later attempts follow changes of
// the file.
constexpr Clock::Duration kRetries[] = {Clock::Duration(100), Clock::Duration(400),
                                        Clock::Duration(1600)};

/// Covers that come later are not shown.
constexpr Clock::Duration kArtTimeout{30000};

/// The name of the subtitles that a controller has sent with an item, by which they are selected.
constexpr const char* kSubtitleName = "Subtitles";

std::string errorOf(const Value& info) {
  if (!info["code"]) return {};
  const Value text = info["TVSLocalizedDescription"];
  std::string error =
      std::string(info["domain"].string()) + " " + std::to_string(info["code"].integer());
  if (text) error += " (" + std::string(text.string()) + ")";
  return error;
}

std::string errorOf(const Reply& reply) {
  if (reply.result != TVVORLANE_OK) return tvvorlane_result_text(reply.result);
  if (reply.status == 0) return {};
  const std::string details = errorOf(reply.value);
  return "status " + std::to_string(reply.status) + (details.empty() ? "" : ", " + details);
}

Playback playbackOf(const Value& info) {
  return {.uuid = std::string(info["uuid"].string()),
          .isReady = info["readyToPlay"].integer() != 0,
          .position = info["position"].real(),
          .duration = info["duration"].real(),
          .rate = info["rate"].real(),
          .error = errorOf(info)};
}

BoxEvent eventOf(std::string_view name, const Value& info) {
  BoxEvent event{.name = std::string(name),
                 .session = {},
                 .uuid = std::string(info["uuid"].string()),
                 .isUserExit = info["userExit"].boolean(),
                 .playback = {}};
  if (const Value session = info["sessionID"]) {
    event.session = static_cast<std::uint32_t>(session.integer());
  }
  // The event "playing" has the information itself.
  if (name == "playing") event.playback = playbackOf(info);
  return event;
}

std::vector<Value::Entry> parametersOf(const Track& track) {
  std::vector<Value::Entry> params{{"Content-Location", track.item.uri}, {"uuid", track.uuid}};
  if (!track.item.subtitleUri.empty()) {
    params.emplace_back(
        "outOfBandAlternateTracks",
        Value::array({Value{{"src", track.item.subtitleUri}, {"name", kSubtitleName}}}));
  }
  return params;
}

}  // namespace

BoxConnection::BoxConnection(std::string socket, Clock& clock)
    : _socket(socket.empty() ? tvvorlane_default_socket() : std::move(socket)), _clock(clock) {}

BoxConnection::~BoxConnection() { close(); }

void BoxConnection::close() {
  if (_monitor) g_signal_handlers_disconnect_by_data(_monitor.get(), this);
  _monitor.reset();
  _retry.reset();
  _art.cancel();
  if (_source) g_source_remove(std::exchange(_source, 0));
  _isOpen = false;
  _client.close();
}

void BoxConnection::open(Handlers handlers) {
  _handlers = std::move(handlers);
  _client.onEvent([this](std::string_view name, const Value& info) {
    trace("box: " + std::string(name));
    _handlers.event(eventOf(name, info));
  });
  const ObjectRef<GFile> file(g_file_new_for_path(_socket.c_str()));
  _monitor.reset(g_file_monitor_file(file.get(), G_FILE_MONITOR_NONE, nullptr, nullptr));
  if (_monitor) g_signal_connect(_monitor.get(), "changed", G_CALLBACK(_socketChanged), this);
  _connect();
}

void BoxConnection::_socketChanged(GFileMonitor*, GFile*, GFile*, GFileMonitorEvent event,
                                   gpointer data) {
  auto& self = *static_cast<BoxConnection*>(data);
  if (event != G_FILE_MONITOR_EVENT_CREATED || self._isOpen) return;
  self._attempts = 0;
  self._connect();
}

void BoxConnection::_connect() {
  _retry.reset();
  const int result = _client.open(_socket);
  if (result != TVVORLANE_OK) {
    if (_attempts == 0) log("No box at " + _socket + ": " + tvvorlane_result_text(result));
    _connectSoon();
    return;
  }
  log("Connected to the box at " + _socket);
  _attempts = 0;
  _isOpen = true;
  _source = g_unix_fd_add(_client.descriptor(), G_IO_IN, _readable, this);
  _handlers.connected();
}

void BoxConnection::_connectSoon() {
  if (_attempts >= std::size(kRetries)) return;
  _retry = _clock.after(kRetries[_attempts++], [this] { _connect(); });
}

gboolean BoxConnection::_readable(gint, GIOCondition, gpointer data) {
  auto& self = *static_cast<BoxConnection*>(data);
  if (self._client.dispatch() == TVVORLANE_OK) return G_SOURCE_CONTINUE;
  self._source = 0;
  self._disconnect();
  return G_SOURCE_REMOVE;
}

void BoxConnection::_disconnect() {
  _isOpen = false;
  _art.cancel();
  log("The connection to the box has ended");
  _handlers.disconnected();
  _client.close();
  _attempts = 0;
  _connectSoon();
}

template <class Call>
void BoxConnection::_complete(const Completion& done, const Call& call) {
  const int result = call([done](const Reply& reply) { done(errorOf(reply)); });
  // The library has not taken the completion.
  if (result != TVVORLANE_OK) done(tvvorlane_result_text(result));
}

void BoxConnection::start(std::uint32_t session, const Track& track, const StartOptions& options,
                          Completion done) {
  auto params = parametersOf(track);
  params.emplace_back("sessionID", session);
  params.emplace_back("volume", options.volume);
  params.emplace_back("muted", options.isMuted);
  if (options.position > 0) params.emplace_back("Start-Position-Seconds", options.position);
  if (options.isPaused) params.emplace_back("rate", 0);
  if (!_isOpen) return done("no box");
  // Properties apply to the new session from now on.
  _art.cancel();
  _complete(done, [&](auto completed) { return _client.startVideo(params, completed); });
}

void BoxConnection::append(std::uint32_t session, const Track& track, Completion done) {
  if (!_isOpen) return done("no box");
  const Value params{{"sessionID", session}, {"item", parametersOf(track)}};
  _complete(done,
            [&](auto completed) { return _client.perform("playlistInsert", params, completed); });
}

void BoxConnection::remove(std::uint32_t session, const std::string& uuid) {
  if (!_isOpen) return;
  _client.perform("playlistRemove", {{"sessionID", session}, {"item", Value{{"uuid", uuid}}}});
}

void BoxConnection::stop(std::uint32_t session, Completion done) {
  if (!done) done = [](const std::string&) {};
  if (!_isOpen) return done("no box");
  _art.cancel();
  const Value params{{"sessionID", session}};
  _complete(done, [&](auto completed) { return _client.stopVideo(params, completed); });
}

void BoxConnection::_set(const char* property, const Value& value) {
  if (_isOpen) _client.setProperty(property, value);
}

void BoxConnection::setRate(double rate) { _set("rate", rate); }

void BoxConnection::seek(double seconds) { _set("position", seconds); }

void BoxConnection::setVolume(double volume) { _set("volume", volume); }

void BoxConnection::setMuted(bool isMuted) { _set("muted", isMuted); }

void BoxConnection::publishMetadata(const Item& item) {
  std::vector<Value::Entry> metadata;
  if (!item.title.empty()) metadata.emplace_back("title", item.title);
  if (!item.artist.empty()) metadata.emplace_back("artist", item.artist);
  if (!item.album.empty()) metadata.emplace_back("album", item.album);
  if (item.duration > 0) metadata.emplace_back("duration", item.duration);
  _set("metaData", metadata);
  _art.cancel();
  if (!item.artUri.empty()) {
    _artTimeout = _clock.after(kArtTimeout, [this] { _art.cancel(); });
    _art.load(item.artUri, [this, metadata](const std::optional<ArtLoader::Art>& art) {
      if (!art) return log("The cover cannot be fetched, is no picture, or is too large");
      auto withArt = metadata;
      withArt.emplace_back("artworkData", art->data);
      withArt.emplace_back("artworkMIMEType", art->mimeType);
      _set("metaData", withArt);
    });
  }
  if (item.subtitleUri.empty()) return;
  // The box selects them when the item is ready.
  _set("selectedMediaArray",
       Value::array({Value{{"TVSMediaSelectionCharacteristic", "legible"},
                           {"TVSMediaSelectionLanguageTag", ""},
                           {"TVSMediaSelectionDisplayName", kSubtitleName}}}));
}

void BoxConnection::readPlayback(PlaybackCompletion done) {
  if (!_isOpen) return done(std::nullopt);
  const auto completed = [done](const Reply& reply) {
    done(reply.ok() ? std::optional(playbackOf(reply.value)) : std::nullopt);
  };
  if (_client.getProperty("playbackInfo", completed) != TVVORLANE_OK) done(std::nullopt);
}

}  // namespace upnp
