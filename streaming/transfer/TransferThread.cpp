#include "streaming/transfer/TransferThread.h"

#include <utility>

#include <pthread.h>

#include "platform/foundation/Assertion.h"
#include "platform/foundation/queues/Thread.h"

namespace streaming {

void TransferThread::start(std::function<void()> begin, std::function<void()> end) {
  const std::lock_guard lock(_mutex);
  if (std::exchange(_isStarted, true)) return;
  auto body = [loop = _loop, begin = std::move(begin), end = std::move(end)]() mutable {
    pthread_setname_np(pthread_self(), "transfers");
    begin();
    loop->run();
    end();
    begin = nullptr;
    end = nullptr;
    loop->close();
  };
  const bool started = platform::startThread(_thread, std::move(body));
  TVS_ASSERT_MESSAGE(started, "the transfer thread cannot be started");
}

void TransferThread::stop() {
  std::thread thread;
  {
    const std::lock_guard lock(_mutex);
    thread = std::move(_thread);
  }
  if (!thread.joinable()) return;
  _loop->stop();
  if (thread.get_id() == std::this_thread::get_id())
    thread.detach();
  else
    thread.join();
}

}  // namespace streaming
