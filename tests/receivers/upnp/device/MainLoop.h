#pragma once

#include <atomic>
#include <functional>
#include <future>

#include <glib.h>

/// Runs the main context until it holds. Returns false after a minute.
inline bool iterateUntil(const std::function<bool()>& holds) {
  constexpr guint kPatienceMilliseconds = 60000;
  bool isLate = false;
  const guint timer = g_timeout_add(
      kPatienceMilliseconds,
      [](gpointer late) -> gboolean {
        *static_cast<bool*>(late) = true;
        return G_SOURCE_CONTINUE;
      },
      &isLate);
  while (!holds() && !isLate) g_main_context_iteration(nullptr, TRUE);
  g_source_remove(timer);
  return !isLate;
}

/// Runs a blocking function on another thread, and the main context on this one meanwhile.
template <class Function>
auto whileRunning(const Function& function) {
  std::atomic<bool> isDone = false;
  auto result = std::async(std::launch::async, [&] {
    auto made = function();
    isDone = true;
    g_main_context_wakeup(nullptr);
    return made;
  });
  iterateUntil([&] { return isDone.load(); });
  return result.get();
}
