#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>

#include "box/services/support/FileDescriptor.h"
#include "frames/FrameMessages.h"

namespace box::test {

/// The other end of a layer's socket, which sends whatever a test wants.
class RawWriter {
 public:
  /// Over a socket of the test's.
  explicit RawWriter(FileDescriptor socket) : _socket(std::move(socket)) {}
  /// Connects; the greeting is still to be received.
  static RawWriter connect(const std::string& path);

  void send(std::span<const std::uint8_t> packet, std::initializer_list<int> descriptors = {});
  void send(const frames::FrameMessage& message, std::initializer_list<int> descriptors = {});
  /// The next answer. Waits, for 10 s at most; nothing when the connection is closed.
  std::optional<frames::AnswerMessage> receive();
  /// Whether an answer is there already.
  bool hasAnswer() const;
  void close() { _socket.reset(); }
  int descriptor() const { return _socket.get(); }

 private:
  FileDescriptor _socket;
};

/// Memory to be shared, sealed against shrinking and growing unless told otherwise.
FileDescriptor makeMemory(std::size_t bytes, bool sealed = true);

/// A picture of 64 by 36 pixels that fits into kPictureBytes.
frames::FrameMessage pictureMessage(std::uint64_t sequence, std::uint32_t index = 0);
inline constexpr std::size_t kPictureBytes = 64 * 36 * 3 / 2;

}  // namespace box::test
