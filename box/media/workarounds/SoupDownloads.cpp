#include "box/media/workarounds/SoupDownloads.h"

#include <map>
#include <mutex>

#include <libsoup/soup.h>

namespace box {
namespace {

std::string itemOf(const std::string& url) {
  std::size_t end = url.find("://");
  end = end == url.npos ? end : url.find('/', end + 3);
  return url.substr(0, end == url.npos ? end : url.find('/', end + 1));
}

class SoupSessions {
 public:
  /// Never destroyed: sessions may outlive main().
  static SoupSessions& shared() {
    static auto* const sessions = new SoupSessions;
    return *sessions;
  }

  /// On the thread that sends.
  void noteQueued(GObject* object, const std::string& url) {
    GMainContext* const context = g_main_context_get_thread_default();
    if (!context) return;
    const std::lock_guard lock(_mutex);
    Session& session = _sessions[object];
    ++session.downloads.begun;
    if (session.context) return;
    session.context.reset(g_main_context_ref(context), g_main_context_unref);
    session.item = itemOf(url);
    g_object_weak_ref(
        object, [](gpointer, GObject* gone) { shared()._forget(gone); }, nullptr);
  }

  void noteUnqueued(GObject* object) {
    const std::lock_guard lock(_mutex);
    if (const auto session = _sessions.find(object); session != _sessions.end())
      ++session->second.downloads.ended;
  }

  std::vector<std::shared_ptr<GMainContext>> contexts() const {
    const std::lock_guard lock(_mutex);
    std::vector<std::shared_ptr<GMainContext>> result;
    for (const auto& [object, session] : _sessions) result.push_back(session.context);
    return result;
  }

  SoupDownloads downloadsOf(const std::string& item) const {
    const std::lock_guard lock(_mutex);
    SoupDownloads result;
    for (const auto& [object, session] : _sessions) {
      if (session.item != item) continue;
      result.begun += session.downloads.begun;
      result.ended += session.downloads.ended;
    }
    return result;
  }

 private:
  struct Session {
    std::shared_ptr<GMainContext> context;
    std::string item;
    SoupDownloads downloads;
  };

  void _forget(GObject* object) {
    const std::lock_guard lock(_mutex);
    _sessions.erase(object);
  }

  mutable std::mutex _mutex;
  std::map<GObject*, Session> _sessions;
};

gboolean onRequestQueued(GSignalInvocationHint*, guint, const GValue* parameters, gpointer) {
  auto* const message = static_cast<SoupMessage*>(g_value_get_object(parameters + 1));
  char* const url = g_uri_to_string(soup_message_get_uri(message));
  SoupSessions::shared().noteQueued(static_cast<GObject*>(g_value_get_object(parameters)), url);
  g_free(url);
  return TRUE;
}

gboolean onRequestUnqueued(GSignalInvocationHint*, guint, const GValue* parameters, gpointer) {
  SoupSessions::shared().noteUnqueued(static_cast<GObject*>(g_value_get_object(parameters)));
  return TRUE;
}

}  // namespace

void countSoupDownloads() {
  static std::once_flag once;
  std::call_once(once, [] {
    // The signals exist once the class does, so the class is kept.
    g_type_class_ref(SOUP_TYPE_SESSION);
    const struct {
      const char* signal;
      GSignalEmissionHook call;
    } hooks[] = {{"request-queued", onRequestQueued}, {"request-unqueued", onRequestUnqueued}};
    for (const auto& hook : hooks)
      if (const guint signal = g_signal_lookup(hook.signal, SOUP_TYPE_SESSION))
        g_signal_add_emission_hook(signal, 0, hook.call, nullptr, nullptr);
  });
}

SoupDownloads soupDownloadsOf(const std::string& url) {
  return SoupSessions::shared().downloadsOf(itemOf(url));
}

std::vector<std::shared_ptr<GMainContext>> soupDownloadContexts() {
  return SoupSessions::shared().contexts();
}

}  // namespace box
