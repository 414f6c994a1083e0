#include "box/media/TransferTasks.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <string_view>

#include <gst/gst.h>
#include <libsoup/soup.h>

#include "box/media/GstRef.h"

namespace box {
namespace {

constexpr std::string_view kMendedVersion = "1.22.0";

std::atomic<void (*)(GObject*)> libraryEnd = nullptr;

/// Those that were sent and are still there.
class Messages {
 public:
  static Messages& shared() {
    static auto* const messages = new Messages;
    return *messages;
  }

  void note(GObject* message) {
    {
      const std::lock_guard lock(_mutex);
      if (!_messages.insert(message).second) return;
    }
    g_object_weak_ref(
        message, [](gpointer, GObject* gone) { shared()._forget(gone); }, nullptr);
  }

  /// Each hears of a restart in the name of its download, as which `task` is known.
  bool belongTo(GTask* task) const {
    static const guint restarted = g_signal_lookup("restarted", SOUP_TYPE_MESSAGE);
    constexpr auto kMatch = static_cast<GSignalMatchType>(G_SIGNAL_MATCH_ID | G_SIGNAL_MATCH_DATA);
    const std::lock_guard lock(_mutex);
    return std::any_of(_messages.begin(), _messages.end(), [&](GObject* message) {
      return g_signal_handler_find(message, kMatch, restarted, 0, nullptr, nullptr, task) != 0;
    });
  }

 private:
  void _forget(GObject* message) {
    const std::lock_guard lock(_mutex);
    _messages.erase(message);
  }

  mutable std::mutex _mutex;
  std::set<GObject*> _messages;
};

void endWhole(GObject* object) {
  auto* const task = G_TASK(object);
  GCancellable* const cancellable = g_task_get_cancellable(task);
  // One reference is the task's; a library that is mended itself has let go of the other.
  const bool isHeld = cancellable && g_atomic_int_get(&G_OBJECT(cancellable)->ref_count) > 1;
  const bool isDownload =
      isHeld && !g_task_get_source_object(task) && Messages::shared().belongTo(task);
  libraryEnd.load()(object);
  if (isDownload) g_object_unref(cancellable);
}

gboolean onQueued(GSignalInvocationHint*, guint, const GValue* parameters, gpointer) {
  Messages::shared().note(static_cast<GObject*>(g_value_get_object(parameters + 1)));
  return TRUE;
}

}  // namespace

void mendTransferTasks() {
  GstPlugin* const plugin = gst_registry_find_plugin(gst_registry_get(), "adaptivedemux2");
  const GstRef<GstObject> owner(plugin ? GST_OBJECT(plugin) : nullptr);
  if (!plugin || gst_plugin_get_version(plugin) != kMendedVersion) return;
  // The classes stay.
  g_type_class_ref(SOUP_TYPE_SESSION);
  g_type_class_ref(SOUP_TYPE_MESSAGE);
  auto* const tasks = static_cast<GObjectClass*>(g_type_class_ref(G_TYPE_TASK));
  if (const guint signal = g_signal_lookup("request-queued", SOUP_TYPE_SESSION)) {
    g_signal_add_emission_hook(signal, 0, onQueued, nullptr, nullptr);
    libraryEnd = tasks->finalize;
    tasks->finalize = endWhole;
  }
}

}  // namespace box
