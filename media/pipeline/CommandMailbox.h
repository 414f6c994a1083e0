#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include <gst/gst.h>

namespace media {

/// What other threads want of a pipeline's thread, which sleeps on its bus: a command posted here
/// wakes it with a message of its own.
///
/// Threads: post() any; the rest the pipeline's.
class CommandMailbox : public std::enable_shared_from_this<CommandMailbox> {
 public:
  static constexpr const char* kWake = "wake";

  /// Never blocks. Before attach() and after detach() commands are kept and nobody is woken.
  void post(std::function<void()> command);
  /// Does the same for as long as somebody else keeps the mailbox, then nothing: for callbacks that
  /// may outlive the pipeline. Commands run on the pipeline's thread only, which keeps the
  /// pipeline.
  std::function<void(std::function<void()>)> poster();
  std::vector<std::function<void()>> take();

  void attach(GstBus* bus);
  void detach();

 private:
  std::mutex _mutex;
  std::vector<std::function<void()>> _commands;
  GstBus* _bus = nullptr;
  bool _woken = false;  // a message is on its way
};

}  // namespace media
