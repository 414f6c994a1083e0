#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace streaming {

/// A replaceable handler that one thread calls. Any thread.
template <typename... Arguments>
class HandlerSlot {
 public:
  using Handler = std::function<void(Arguments...)>;

  /// An empty handler removes the current one. Waits for a running call on another thread.
  void set(Handler handler) {
    std::unique_lock lock(_mutex);
    auto next = handler ? std::make_shared<Handler>(std::move(handler)) : nullptr;
    std::swap(_handler, next);
    _changed.wait(lock, [&] { return _calls == 0 || _caller == std::this_thread::get_id(); });
    lock.unlock();  // destroys the old handler without the lock
  }
  bool isSet() const {
    const std::lock_guard lock(_mutex);
    return _handler != nullptr;
  }
  void call(Arguments... arguments) {
    std::shared_ptr<Handler> handler;
    {
      const std::lock_guard lock(_mutex);
      handler = _handler;
      if (!handler) return;
      ++_calls;
      _caller = std::this_thread::get_id();
    }
    (*handler)(arguments...);
    {
      const std::lock_guard lock(_mutex);
      --_calls;
    }
    _changed.notify_all();
  }

 private:
  mutable std::mutex _mutex;  // guards the rest
  std::condition_variable _changed;
  std::shared_ptr<Handler> _handler;
  unsigned _calls = 0;
  std::thread::id _caller;
};

}  // namespace streaming
