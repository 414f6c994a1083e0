#include "box/media/workarounds/AdaptiveTaskLeak.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>

#include <libsoup/soup.h>

namespace box {
namespace {

std::atomic<void (*)(GObject*)> originalTaskFinalize = nullptr;

/// The messages that were sent and still exist.
class SentMessages {
 public:
  static SentMessages& shared() {
    static auto* const messages = new SentMessages;
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

  /// Whether `task` is a download: the handler for "restarted" of its message has it as data.
  bool isDownload(GTask* task) const {
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

void finalizeTask(GObject* object) {
  auto* const task = G_TASK(object);
  GCancellable* const cancellable = g_task_get_cancellable(task);
  // The task has one reference. A library without the fault has released the other one.
  const bool isLeaked = cancellable && g_atomic_int_get(&G_OBJECT(cancellable)->ref_count) > 1;
  const bool releases =
      isLeaked && !g_task_get_source_object(task) && SentMessages::shared().isDownload(task);
  originalTaskFinalize.load()(object);
  if (releases) g_object_unref(cancellable);
}

gboolean noteMessage(GSignalInvocationHint*, guint, const GValue* parameters, gpointer) {
  SentMessages::shared().note(static_cast<GObject*>(g_value_get_object(parameters + 1)));
  return TRUE;
}

}  // namespace

void installAdaptiveTaskLeak() {
  // Classes whose methods are replaced or hooked must stay.
  g_type_class_ref(SOUP_TYPE_SESSION);
  g_type_class_ref(SOUP_TYPE_MESSAGE);
  auto* const tasks = static_cast<GObjectClass*>(g_type_class_ref(G_TYPE_TASK));
  const guint signal = g_signal_lookup("request-queued", SOUP_TYPE_SESSION);
  if (signal == 0) return;
  g_signal_add_emission_hook(signal, 0, noteMessage, nullptr, nullptr);
  originalTaskFinalize = tasks->finalize;
  tasks->finalize = finalizeTask;
}

}  // namespace box
