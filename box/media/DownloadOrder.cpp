#include "box/media/DownloadOrder.h"

#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <libsoup/soup.h>

#include "box/media/GstRef.h"

namespace box {
namespace {

constexpr auto kLimit = std::chrono::milliseconds(500);

using Context = std::shared_ptr<GMainContext>;

std::string itemOf(const std::string& url) {
  std::size_t end = url.find("://");
  end = end == url.npos ? end : url.find('/', end + 3);
  return url.substr(0, end == url.npos ? end : url.find('/', end + 1));
}

/// Where each session of the library's HTTP client sends what it is handed, and for whom.
class Sessions {
 public:
  static Sessions& shared() {
    static auto* const sessions = new Sessions;
    return *sessions;
  }

  /// On the thread that sends.
  void noteQueued(GObject* session, const std::string& url) {
    GMainContext* const context = g_main_context_get_thread_default();
    if (!context) return;
    const std::lock_guard lock(_mutex);
    Session& noted = _sessions[session];
    ++noted.downloads.begun;
    if (noted.context) return;
    noted.context.reset(g_main_context_ref(context), g_main_context_unref);
    noted.item = itemOf(url);
    g_object_weak_ref(
        session, [](gpointer, GObject* gone) { shared()._forget(gone); }, nullptr);
  }

  void noteUnqueued(GObject* session) {
    const std::lock_guard lock(_mutex);
    if (const auto noted = _sessions.find(session); noted != _sessions.end())
      ++noted->second.downloads.ended;
  }

  std::vector<Context> contexts() const {
    const std::lock_guard lock(_mutex);
    std::vector<Context> result;
    for (const auto& [key, session] : _sessions) result.push_back(session.context);
    return result;
  }

  Downloads of(const std::string& item) const {
    const std::lock_guard lock(_mutex);
    Downloads result;
    for (const auto& [key, session] : _sessions) {
      if (session.item != item) continue;
      result.begun += session.downloads.begun;
      result.ended += session.downloads.ended;
    }
    return result;
  }

 private:
  struct Session {
    Context context;
    std::string item;
    Downloads downloads;
  };

  void _forget(GObject* session) {
    const std::lock_guard lock(_mutex);
    _sessions.erase(session);
  }

  mutable std::mutex _mutex;
  std::map<GObject*, Session> _sessions;
};

gboolean onQueued(GSignalInvocationHint*, guint, const GValue* parameters, gpointer) {
  auto* const message = static_cast<SoupMessage*>(g_value_get_object(parameters + 1));
  char* const url = g_uri_to_string(soup_message_get_uri(message));
  Sessions::shared().noteQueued(static_cast<GObject*>(g_value_get_object(parameters)), url);
  g_free(url);
  return TRUE;
}

gboolean onUnqueued(GSignalInvocationHint*, guint, const GValue* parameters, gpointer) {
  Sessions::shared().noteUnqueued(static_cast<GObject*>(g_value_get_object(parameters)));
  return TRUE;
}

/// What is handed over later comes later.
void awaitTaken(GMainContext* context) {
  // Nobody takes anything there any more.
  if (g_main_context_acquire(context)) return g_main_context_release(context);
  const auto taken = std::make_shared<std::promise<void>>();
  using Taken = std::shared_ptr<std::promise<void>>;
  GSource* const source = g_idle_source_new();
  g_source_set_callback(
      source,
      [](gpointer data) -> gboolean {
        (*static_cast<Taken*>(data))->set_value();
        return G_SOURCE_REMOVE;
      },
      new Taken(taken), [](gpointer data) { delete static_cast<Taken*>(data); });
  g_source_attach(source, context);
  g_source_unref(source);
  taken->get_future().wait_for(kLimit);
}

/// Each of the demuxer's pads is flushed; nothing comes in between.
GstPadProbeReturn onFlush(GstPad* pad, GstPadProbeInfo* info, gpointer) {
  static const GQuark mark = g_quark_from_static_string("vorlane-flush");
  GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
  const GstRef<GstElement> demuxer(gst_pad_get_parent_element(pad));
  if (GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_START || !demuxer) return GST_PAD_PROBE_OK;
  auto* const object = G_OBJECT(demuxer.get());
  const gpointer number = GUINT_TO_POINTER(gst_event_get_seqnum(event));
  if (g_object_get_qdata(object, mark) == number) return GST_PAD_PROBE_OK;
  g_object_set_qdata(object, mark, number);
  for (const Context& context : Sessions::shared().contexts()) awaitTaken(context.get());
  return GST_PAD_PROBE_OK;
}

void onPadAdded(GstElement*, GstPad* pad, gpointer) {
  if (GST_PAD_IS_SRC(pad))
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_FLUSH, onFlush, nullptr, nullptr);
}

void onElementAdded(GstBin*, GstBin*, GstElement* element, gpointer) {
  GstElementFactory* const factory = gst_element_get_factory(element);
  if (!factory) return;
  const std::string_view kind =
      gst_element_factory_get_metadata(factory, GST_ELEMENT_METADATA_KLASS);
  if (kind.find("Adaptive") != kind.npos)
    g_signal_connect(element, "pad-added", G_CALLBACK(onPadAdded), nullptr);
}

}  // namespace

void takeDownloadsBeforeFlush(GstElement* playbin) {
  static std::once_flag once;
  std::call_once(once, [] {
    // Signals are there once the class is, which stays.
    g_type_class_ref(SOUP_TYPE_SESSION);
    const struct {
      const char* signal;
      GSignalEmissionHook call;
    } hooks[] = {{"request-queued", onQueued}, {"request-unqueued", onUnqueued}};
    for (const auto& hook : hooks)
      if (const guint signal = g_signal_lookup(hook.signal, SOUP_TYPE_SESSION))
        g_signal_add_emission_hook(signal, 0, hook.call, nullptr, nullptr);
  });
  g_signal_connect(playbin, "deep-element-added", G_CALLBACK(onElementAdded), nullptr);
}

Downloads downloadsOf(const std::string& url) { return Sessions::shared().of(itemOf(url)); }

}  // namespace box
