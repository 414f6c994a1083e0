#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <gst/gst.h>

namespace media {

/// Commands of other threads for a pipeline's thread, which waits for messages on its bus. post()
/// wakes it with an application message.
///
/// Threads: post() any; the rest the pipeline's.
class CommandMailbox : public std::enable_shared_from_this<CommandMailbox> {
 public:
  static constexpr const char* kWake = "wake";

  /// Does not block. Before attach() and after detach() commands are queued without a wake-up.
  void post(std::function<void()> command);
  /// Returns a function that calls post() while the mailbox exists: for callbacks that may outlive
  /// the pipeline. Commands run on the pipeline's thread, during the lifetime of the pipeline.
  std::function<void(std::function<void()>)> poster();
  std::vector<std::function<void()>> take();

  void attach(GstBus* bus);
  void detach();

 private:
  std::mutex _mutex;
  std::vector<std::function<void()>> _commands;
  GstBus* _bus = nullptr;
  bool _woken = false;  // a message is on the bus
};

}  // namespace media
