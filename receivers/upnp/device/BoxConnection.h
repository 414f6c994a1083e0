#pragma once

#include <string>

#include <gio/gio.h>
#include <tvvorlane/client.hpp>

#include "receivers/upnp/device/ArtLoader.h"
#include "receivers/upnp/device/Glib.h"
#include "receivers/upnp/model/BoxCalls.h"
#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// The connection to the box. Connects when the box's socket appears, and again after the box has
/// ended.
class BoxConnection final : public BoxCalls {
 public:
  struct Handlers {
    std::function<void()> connected;
    std::function<void()> disconnected;
    std::function<void(const BoxEvent&)> event;
  };

  /// An empty `socket` is the default of the box.
  BoxConnection(std::string socket, Clock& clock);
  BoxConnection(const BoxConnection&) = delete;
  BoxConnection& operator=(const BoxConnection&) = delete;
  ~BoxConnection() override;

  void open(Handlers handlers);
  /// Completes the pending calls. The box plays on.
  void close();

  bool isConnected() const override { return _isOpen; }
  void start(std::uint32_t session, const Track& track, const StartOptions& options,
             Completion done) override;
  void append(std::uint32_t session, const Track& track, Completion done) override;
  void remove(std::uint32_t session, const std::string& uuid) override;
  void stop(std::uint32_t session, Completion done) override;
  void setRate(double rate) override;
  void seek(double seconds) override;
  void setVolume(double volume) override;
  void setMuted(bool isMuted) override;
  void publishMetadata(const Item& item) override;
  void readPlayback(PlaybackCompletion done) override;

 private:
  void _connect();
  void _connectSoon();
  void _disconnect();
  template <class Call>
  static void _complete(const Completion& done, const Call& call);
  void _set(const char* property, const tvvorlane::Value& value);
  static gboolean _readable(gint descriptor, GIOCondition condition, gpointer data);
  static void _socketChanged(GFileMonitor*, GFile*, GFile*, GFileMonitorEvent event, gpointer data);

  const std::string _socket;
  Clock& _clock;
  tvvorlane::Client _client;
  Handlers _handlers;
  bool _isOpen = false;
  guint _source = 0;
  unsigned _attempts = 0;
  Clock::Timer _retry;
  ArtLoader _art;
  Clock::Timer _artTimeout;
  ObjectRef<GFileMonitor> _monitor;
};

}  // namespace upnp
