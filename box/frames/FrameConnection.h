#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "box/frames/AnswerSocket.h"
#include "box/frames/MappedBuffer.h"
#include "box/frames/MappedFrame.h"
#include "box/services/support/FileDescriptor.h"
#include "frames/FrameMessages.h"
#include "media/output/VideoFrames.h"

namespace box {

/// One writer's connection: reads its messages, checks everything in them, and hands its pictures
/// on.
///
/// What cannot be trusted (a message that is none, a buffer that could shrink, a buffer written
/// while it is read) ends the connection. A picture that does not fit its buffer is refused, and
/// told once.
///
/// Threads: one. Lifetime: its pictures may outlive it; they still answer.
class FrameConnection {
 public:
  /// What a writer sends. A mirrored screen has few buffers, each with one picture at a time. A
  /// film's are those of its decoder, and the same picture may come again while it is shown.
  enum class Content { Screen, Film };
  struct Setup {
    Content content = Content::Screen;
    /// Called for each message within read(). `frame` is null when there is no picture any more.
    std::function<void(const frames::FilmMessage& message, std::shared_ptr<MappedFrame> frame)>
        take;
  };

  /// Greets the writer.
  FrameConnection(FileDescriptor socket, Setup setup);
  /// Of a mirrored screen: the mailbox shows this writer's pictures from now on.
  FrameConnection(FileDescriptor socket, const std::shared_ptr<media::VideoFrames>& frames);
  /// Closes the connection for both sides; what was handed on stays good.
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
  std::optional<frames::FilmMessage> _decode(std::span<const std::uint8_t> packet) const;
  State _handle(const frames::FilmMessage& message, std::vector<FileDescriptor> descriptors);
  void _forget(std::uint64_t gone);
  bool _map(std::uint32_t index, const FileDescriptor& descriptor);
  void _refuse(const frames::FilmMessage& message);
  State _break(std::string reason);

  const std::shared_ptr<AnswerSocket> _answers;
  const Setup _setup;
  std::vector<std::shared_ptr<MappedBuffer>> _buffers;
  std::size_t _mappedBytes = 0;
  std::uint64_t _lastSequence = 0;
  bool _toldOfRefusal = false;
  std::string _reason;
};

}  // namespace box
