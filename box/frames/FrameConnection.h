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

/// A connection to a writer: reads and validates its messages and passes its frames on.
///
/// Invalid messages, buffers that can shrink and buffers that are rewritten while in use end the
/// connection. A frame that does not fit its buffer is rejected; the first one is logged.
///
/// Threads: not thread-safe. Frames may outlive the connection and still send their release.
class FrameConnection {
 public:
  /// The kind of pictures of a writer. A mirrored screen has few buffers, each used by one frame at
  /// a time. A film has the buffers of its decoder, and a frame may be sent again while it is
  /// shown.
  enum class Content { Screen, Film };
  struct Setup {
    Content content = Content::Screen;
    /// Called within read() for each message. `frame` is null if there is no picture any more.
    std::function<void(const frames::FilmMessage& message, std::shared_ptr<MappedFrame> frame)>
        onFrame;
  };

  /// Sends the greeting.
  FrameConnection(FileDescriptor socket, Setup setup);
  /// For a mirrored screen: `frames` shows the frames of this writer from now on.
  FrameConnection(FileDescriptor socket, const std::shared_ptr<media::VideoFrames>& frames);
  /// Shuts the connection down. Frames stay valid.
  ~FrameConnection();
  FrameConnection(const FrameConnection&) = delete;
  FrameConnection& operator=(const FrameConnection&) = delete;

  /// To poll for reading.
  int descriptor() const { return _answers->descriptor(); }

  enum class State { Open, ClosedByWriter, Broken };
  /// Reads pending messages without blocking, a limited number per call. After State::Broken,
  /// reason() describes the error.
  State read();
  const std::string& reason() const { return _reason; }

  /// Sends a "busy" greeting and closes the socket.
  static void rejectBusy(FileDescriptor socket);

 private:
  State _readOne(bool& more);
  std::optional<frames::FilmMessage> _decode(std::span<const std::uint8_t> packet) const;
  State _handle(const frames::FilmMessage& message, std::vector<FileDescriptor> descriptors);
  void _unmap(std::uint64_t gone);
  bool _map(std::uint32_t index, const FileDescriptor& descriptor);
  void _reject(const frames::FilmMessage& message);
  State _fail(std::string reason);

  const std::shared_ptr<AnswerSocket> _answers;
  const Setup _setup;
  std::vector<std::shared_ptr<MappedBuffer>> _buffers;
  std::size_t _mappedBytes = 0;
  std::uint64_t _lastSequence = 0;
  bool _loggedRejection = false;
  std::string _reason;
};

}  // namespace box
