#include <clocale>
#include <optional>

#include <glib-unix.h>

#include "receivers/upnp/device/Log.h"
#include "receivers/upnp/device/Options.h"
#include "receivers/upnp/device/Renderer.h"

namespace {

gboolean quit(gpointer loop) {
  g_main_loop_quit(static_cast<GMainLoop*>(loop));
  return G_SOURCE_CONTINUE;
}

}  // namespace

int main(int count, char** arguments) {
  std::setlocale(LC_ALL, "C.UTF-8");
  int status = 0;
  const auto options = upnp::parseOptions(count, arguments, status);
  if (!options) return status;
  upnp::setTracing(options->isTracing);

  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  g_unix_signal_add(SIGTERM, quit, loop);
  g_unix_signal_add(SIGINT, quit, loop);
  {
    upnp::Renderer renderer(*options);
    if (renderer.start()) {
      g_main_loop_run(loop);
    } else {
      status = 1;
    }
  }
  g_main_loop_unref(loop);
  return status;
}
