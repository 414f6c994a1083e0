#include "box/services/network/GioNetworkWatch.h"

#include <thread>
#include <utility>

#include "platform/foundation/queues/Thread.h"

namespace box {

bool isInternet(GNetworkConnectivity connectivity, bool networkAvailable) {
  switch (connectivity) {
    case G_NETWORK_CONNECTIVITY_FULL:
      return true;
    case G_NETWORK_CONNECTIVITY_LOCAL:
      // Network managers that do not check connectivity report this value too.
      return networkAvailable;
    case G_NETWORK_CONNECTIVITY_LIMITED:
    case G_NETWORK_CONNECTIVITY_PORTAL:
      break;
  }
  return false;
}

/// The thread with the monitor's main loop.
class GioNetworkWatch::Loop {
 public:
  explicit Loop(std::function<void(bool)> onChange) : _onChange(std::move(onChange)) {
    // If the thread cannot be started, no state is reported.
    static_cast<void>(platform::startThread(_thread, [this] { _run(); }));
  }
  ~Loop() {
    // Quit from within the loop: g_main_loop_quit() has no effect before g_main_loop_run().
    GSource* source = g_idle_source_new();
    g_source_set_callback(source, _quit, _loop, nullptr);
    g_source_attach(source, _context);
    g_source_unref(source);
    if (_thread.joinable()) _thread.join();
    g_main_loop_unref(_loop);
    g_main_context_unref(_context);
  }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

 private:
  static gboolean _quit(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
  }
  static void _networkChanged(GNetworkMonitor* monitor, gboolean, gpointer self) {
    static_cast<Loop*>(self)->_read(monitor);
  }
  static void _connectivityChanged(GNetworkMonitor* monitor, GParamSpec*, gpointer self) {
    static_cast<Loop*>(self)->_read(monitor);
  }

  void _read(GNetworkMonitor* monitor) {
    _onChange(isInternet(g_network_monitor_get_connectivity(monitor),
                         g_network_monitor_get_network_available(monitor) != FALSE));
  }

  void _run() {
    g_main_context_push_thread_default(_context);
    GNetworkMonitor* const monitor = g_network_monitor_get_default();
    g_signal_connect(monitor, "network-changed", G_CALLBACK(_networkChanged), this);
    g_signal_connect(monitor, "notify::connectivity", G_CALLBACK(_connectivityChanged), this);
    _read(monitor);
    g_main_loop_run(_loop);
    g_signal_handlers_disconnect_by_data(monitor, this);
    g_main_context_pop_thread_default(_context);
  }

  const std::function<void(bool)> _onChange;
  GMainContext* const _context = g_main_context_new();
  GMainLoop* const _loop = g_main_loop_new(_context, FALSE);
  std::thread _thread;
};

GioNetworkWatch::GioNetworkWatch() = default;

GioNetworkWatch::~GioNetworkWatch() = default;

void GioNetworkWatch::start(std::function<void(bool available)> onChange) {
  _loop = std::make_unique<Loop>(std::move(onChange));
}

void GioNetworkWatch::stop() { _loop.reset(); }

}  // namespace box
