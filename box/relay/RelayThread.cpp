#include "box/relay/RelayThread.h"

#include <utility>

namespace box {

RelayThread::RelayThread()
    : _context(g_main_context_new(), Unref()),
      _loop(g_main_loop_new(_context.get(), FALSE), Unref()) {}

RelayThread::~RelayThread() { stop(); }

void RelayThread::start(std::function<void()> begin, std::function<void()> end) {
  const std::lock_guard lock(_mutex);
  if (_thread.joinable()) return;
  _thread = std::thread(
      [context = _context, loop = _loop, begin = std::move(begin), end = std::move(end)]() mutable {
        g_main_context_push_thread_default(context.get());
        begin();
        g_main_loop_run(loop.get());
        end();
        begin = nullptr;
        end = nullptr;
        g_main_context_pop_thread_default(context.get());
      });
}

void RelayThread::post(std::function<void()> work) {
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  g_source_set_callback(
      source,
      [](gpointer data) -> gboolean {
        (*static_cast<std::function<void()>*>(data))();
        return G_SOURCE_REMOVE;
      },
      new std::function<void()>(std::move(work)),
      [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
  g_source_attach(source, _context.get());
  g_source_unref(source);
}

void RelayThread::stop() {
  std::thread thread;
  {
    const std::lock_guard lock(_mutex);
    thread = std::move(_thread);
  }
  if (!thread.joinable()) return;
  // From within the loop, so that it is not lost when the loop has not begun yet.
  post([loop = _loop.get()] { g_main_loop_quit(loop); });
  if (thread.get_id() == std::this_thread::get_id())
    thread.detach();
  else
    thread.join();
}

bool RelayThread::isCurrent() const { return g_main_context_is_owner(_context.get()) != 0; }

void RelayTimer::start(std::chrono::milliseconds delay, std::function<void()> work) {
  cancel();
  _work = std::move(work);
  _source = g_timeout_source_new(static_cast<guint>(delay.count()));
  g_source_set_callback(
      _source,
      [](gpointer data) -> gboolean {
        auto& self = *static_cast<RelayTimer*>(data);
        // The work may start it anew, or destroy it.
        const auto due = std::move(self._work);
        self.cancel();
        due();
        return G_SOURCE_REMOVE;
      },
      this, nullptr);
  g_source_attach(_source, _context);
}

void RelayTimer::cancel() {
  if (!_source) return;
  g_source_destroy(_source);
  g_source_unref(std::exchange(_source, nullptr));
}

}  // namespace box
