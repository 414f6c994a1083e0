#include "receivers/upnp/device/GlibClock.h"

#include <algorithm>
#include <utility>

#include <glib.h>

namespace upnp {

namespace {

struct GlibTimer {
  guint source = 0;
  std::function<void()> task;

  ~GlibTimer() {
    if (source) g_source_remove(source);
  }
};

gboolean timerFired(gpointer data) {
  auto* const timer = static_cast<GlibTimer*>(data);
  timer->source = 0;
  // The task may destroy the timer.
  const auto task = std::move(timer->task);
  task();
  return G_SOURCE_REMOVE;
}

}  // namespace

Clock::Duration GlibClock::now() const {
  return std::chrono::duration_cast<Duration>(std::chrono::microseconds(g_get_monotonic_time()));
}

Clock::Timer GlibClock::after(Duration delay, std::function<void()> task) {
  const auto timer = std::make_shared<GlibTimer>();
  timer->task = std::move(task);
  const auto milliseconds = std::max<Duration::rep>(0, delay.count());
  timer->source = g_timeout_add(static_cast<guint>(milliseconds), timerFired, timer.get());
  return timer;
}

}  // namespace upnp
