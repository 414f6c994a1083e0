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

/// A writer that can send arbitrary packets.
class RawWriter {
 public:
  /// Uses a socket of the test.
  explicit RawWriter(FileDescriptor socket) : _socket(std::move(socket)) {}
  /// Connects to a layer. The greeting is not read.
  static RawWriter connect(const std::string& path);

  void send(std::span<const std::uint8_t> packet, std::initializer_list<int> descriptors = {});
  void send(const frames::FrameMessage& message, std::initializer_list<int> descriptors = {});
  /// Returns the next answer, or nothing if the connection is closed. Waits up to 10 s.
  std::optional<frames::AnswerMessage> receive();
  /// Whether an answer is pending.
  bool hasAnswer() const;
  void close() { _socket.reset(); }
  int descriptor() const { return _socket.get(); }

 private:
  FileDescriptor _socket;
};

/// Creates a memfd, by default sealed against shrinking and growing.
FileDescriptor makeMemory(std::size_t bytes, bool sealed = true);

/// Returns a message of 64 by 36 pixels that fits into kPictureBytes.
frames::FrameMessage pictureMessage(std::uint64_t sequence, std::uint32_t index = 0);
inline constexpr std::size_t kPictureBytes = 64 * 36 * 3 / 2;

}  // namespace box::test
