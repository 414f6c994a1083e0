#include "box/screen/drawing/FontThreads.h"

#include <atomic>
#include <string_view>

#include <glib.h>

namespace box {
namespace {

std::atomic<bool> fontsDoWithoutThreads = false;

/// The searches hold no lock while they begin, and nobody joins their threads. The thread that
/// loads the configuration does: it is made with the first fonts, when the process starts.
bool isFontSearch(const char* name) {
  const std::string_view text = name ? name : "";
  return text == "[pango] FcFontSetSort" || text == "[pango] FcFontSetMatch";
}

}  // namespace

void letFontsDoWithoutThreads() { fontsDoWithoutThreads = true; }

}  // namespace box

extern "C" [[gnu::visibility("default")]] GThread* g_thread_new(const gchar* name, GThreadFunc body,
                                                                gpointer data) {
  GError* error = nullptr;
  if (GThread* const thread = g_thread_try_new(name, body, data, &error)) return thread;
  if (!box::fontsDoWithoutThreads || !box::isFontSearch(name))
    g_error("creating thread '%s': %s", name ? name : "", error->message);
  g_clear_error(&error);
  body(data);
  return g_thread_ref(g_thread_self());
}
