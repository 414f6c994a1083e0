#include "box/screen/workarounds/PangoFontThreads.h"

#include <atomic>
#include <string_view>

#include <pango/pango.h>

namespace box {
namespace {

std::atomic<bool> installed = false;

bool isNeeded() {
  const int version = pango_version();
  return version >= PANGO_VERSION_ENCODE(1, 49, 1) && version < PANGO_VERSION_ENCODE(1, 51, 0);
}

/// Pango starts these threads without holding a lock and does not join them. It does join the
/// thread that loads the fontconfig configuration, which is started with the process.
bool isFontSearch(const char* name) {
  const std::string_view text = name ? name : "";
  return text == "[pango] FcFontSetSort" || text == "[pango] FcFontSetMatch";
}

}  // namespace

void installPangoFontThreads() { installed = isNeeded(); }

}  // namespace box

extern "C" [[gnu::visibility("default")]] GThread* g_thread_new(const gchar* name, GThreadFunc body,
                                                                gpointer data) {
  GError* error = nullptr;
  if (GThread* const thread = g_thread_try_new(name, body, data, &error)) return thread;
  if (!box::installed || !box::isFontSearch(name))
    g_error("creating thread '%s': %s", name ? name : "", error->message);
  g_clear_error(&error);
  body(data);
  return g_thread_ref(g_thread_self());
}
