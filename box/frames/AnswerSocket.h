#pragma once

#include <atomic>

#include "box/services/support/FileDescriptor.h"
#include "frames/FrameMessages.h"

namespace box {

/// The socket of a writer. It is shared by FrameConnection, which reads it, and by frames, which
/// send their release on it when they are destroyed.
///
/// Thread-safe. send() does not block: a packet that does not fit into the socket buffer ends the
/// connection.
class AnswerSocket {
 public:
  explicit AnswerSocket(FileDescriptor socket) : _socket(std::move(socket)) {}

  int descriptor() const { return _socket.get(); }
  void send(const frames::AnswerMessage& answer);
  /// Whether the connection was shut down because the writer did not read its answers.
  bool overran() const { return _overran; }
  /// Shuts the connection down in both directions.
  void shutDown();

 private:
  const FileDescriptor _socket;
  std::atomic<bool> _overran = false;
};

}  // namespace box
