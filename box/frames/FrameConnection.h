#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "box/frames/AnswerSocket.h"
#include "box/frames/MappedBuffer.h"
#include "box/services/support/FileDescriptor.h"
#include "frames/FrameMessages.h"
#include "frames/vorlane-frames.h"
#include "media/output/VideoFrames.h"

namespace box {

/// One writer's connection: reads its messages, checks everything in them, and puts its pictures
/// into the mailbox that the screen draws from.
///
/// What cannot be trusted (a message that is none, a buffer that could shrink, a buffer written
/// while it is read) ends the connection. A picture that does not fit its buffer is refused, and
/// told once.
///
/// Threads: one. Lifetime: its pictures may outlive it; they still answer.
class FrameConnection {
 public:
  /// Greets the writer. The mailbox shows this writer's pictures from now on.
  FrameConnection(FileDescriptor socket, std::shared_ptr<media::VideoFrames> frames);
  /// Closes the connection for both sides; the mailbox keeps what it has.
  ~FrameConnection();
  FrameConnection(const FrameConnection&) = delete;
  FrameConnection& operator=(const FrameConnection&) = delete;

  /// To be polled for reading.
  int descriptor() const { return _answers->descriptor(); }

  enum class State { Open, ClosedByWriter, Broken };
  /// Takes what has come, never waiting; a little at a time, so that the caller gets a turn. Then
  /// reason() says what was broken.
  State read();
  const std::string& reason() const { return _reason; }

  /// Tells a writer that there is one already.
  static void refuse(FileDescriptor socket);

 private:
  State _readOne(bool& more);
  State _handle(const frames::FrameMessage& message, std::vector<FileDescriptor> descriptors);
  State _break(std::string reason);

  const std::shared_ptr<AnswerSocket> _answers;
  const std::shared_ptr<media::VideoFrames> _frames;
  const std::uint64_t _ticket;
  std::array<std::shared_ptr<MappedBuffer>, VORLANE_FRAMES_MAXIMUM_BUFFERS> _buffers;
  std::uint64_t _lastSequence = 0;
  bool _toldOfRefusal = false;
  std::string _reason;
};

}  // namespace box
