#pragma once

#include <atomic>

#include "box/services/support/FileDescriptor.h"
#include "frames/FrameMessages.h"

namespace box {

/// A writer's socket, shared by who reads it and by the pictures that answer on it when they go.
///
/// Threads: any. Nothing waits: a packet either fits into the socket or ends the connection.
class AnswerSocket {
 public:
  explicit AnswerSocket(FileDescriptor socket) : _socket(std::move(socket)) {}

  int descriptor() const { return _socket.get(); }
  void send(const frames::AnswerMessage& answer);
  /// The writer has left more answers unread than it could have buffers; the connection is cut.
  bool overran() const { return _overran; }
  /// Both sides find the connection closed.
  void cut();

 private:
  const FileDescriptor _socket;
  std::atomic<bool> _overran = false;
};

}  // namespace box
