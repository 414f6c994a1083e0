#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include <glib.h>

namespace box {

/// The thread on which everything of the relay happens: a main loop over a context of its own.
///
/// Threads: any, unless it says otherwise.
class RelayThread {
 public:
  RelayThread();
  /// Like stop().
  ~RelayThread();
  RelayThread(const RelayThread&) = delete;
  RelayThread& operator=(const RelayThread&) = delete;

  /// Does nothing when it runs already. `begin` is called first on the thread, and `end` last.
  void start(std::function<void()> begin, std::function<void()> end);
  /// Runs `work` on the thread after what was posted before. After stop() it is dropped.
  void post(std::function<void()> work);
  /// Returns when the thread has ended, unless it is the calling one, which ends then by itself.
  void stop();

  bool isCurrent() const;
  GMainContext* context() const { return _context.get(); }

 private:
  struct Unref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
  };

  const std::shared_ptr<GMainContext> _context;
  const std::shared_ptr<GMainLoop> _loop;
  std::mutex _mutex;  // guards _thread
  std::thread _thread;
};

/// One call after a while. Threads: the one whose context it is.
class RelayTimer {
 public:
  explicit RelayTimer(GMainContext* context) : _context(context) {}
  ~RelayTimer() { cancel(); }
  RelayTimer(const RelayTimer&) = delete;
  RelayTimer& operator=(const RelayTimer&) = delete;

  /// In place of a call that is still due.
  void start(std::chrono::milliseconds delay, std::function<void()> work);
  void cancel();
  bool isRunning() const { return _source != nullptr; }

 private:
  GMainContext* const _context;
  GSource* _source = nullptr;
  std::function<void()> _work;
};

}  // namespace box
