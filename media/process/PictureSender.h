#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "frames/FrameLayout.h"
#include "frames/FrameMessages.h"
#include "frames/SharedBuffer.h"
#include "media/output/VideoFrames.h"

namespace media {

/// Sends the newest picture of a mailbox to the box, in memory that both processes have mapped. The
/// messages are described in docs/frames.md.
///
/// A picture in shared memory is sent without copying; any other is copied to shared memory first.
/// A reference is held until the box has released the picture, so that its memory is not
/// overwritten. While the box holds several pictures, later ones wait, and only the newest of them
/// is sent.
///
/// Nothing blocks. Pictures are sent on the thread that puts them into the mailbox. That thread
/// also reads releases, so that a release wakes no thread while pictures follow each other.
///
/// Threads: any; no other thread may use it during construction and destruction.
class PictureSender {
 public:
  /// Takes ownership of the SEQPACKET socket, and sets the wake-up of the mailbox.
  PictureSender(int socket, std::shared_ptr<VideoFrames> frames);
  ~PictureSender();
  PictureSender(const PictureSender&) = delete;
  PictureSender& operator=(const PictureSender&) = delete;

  /// Sets the epoch of later pictures. The newest picture, or a message that there is none, is sent
  /// at once, even if it was sent before. Call it after the load of this epoch has become the
  /// current one in the mailbox.
  void setEpoch(std::uint64_t epoch);

  /// Poll it for reading, then call read(). It is only readable when a release is needed: to send a
  /// waiting picture, or to free the memory of the last ones.
  int descriptor() const { return _epoll; }
  /// Reads releases. Returns false if the box has closed its end.
  bool read();

 private:
  using Memory = std::shared_ptr<const frames::SharedBuffer>;
  /// A buffer that the box has mapped.
  struct Buffer {
    std::weak_ptr<const void> lifetime;  ///< expires with the memory
    std::size_t bytes = 0;               ///< 0: unused
    std::uint64_t lastSequence = 0;
  };
  /// A picture that the box has not released.
  struct Held {
    std::shared_ptr<const VideoFrame> frame;
    Memory memory;
  };
  struct Copy {
    std::weak_ptr<const VideoFrame> of;
    Memory memory;
    frames::FrameLayout layout;
  };

  enum class ReadResult { Answer, Nothing, End };
  ReadResult _takeAnswer(std::vector<Held>& released);
  void _sendNewest();
  bool _send(const std::shared_ptr<const VideoFrame>& newest);
  bool _sendNone();
  bool _sendPicture(const std::shared_ptr<const VideoFrame>& frame);
  Memory _memoryOf(const std::shared_ptr<const VideoFrame>& frame, frames::FrameLayout& layout);
  bool _copy(const std::shared_ptr<const VideoFrame>& frame);
  std::shared_ptr<frames::SharedBuffer> _freeMemory(std::size_t bytes);
  std::uint32_t _bufferFor(const Memory& memory, std::uint64_t& gone) const;
  bool _send(const frames::FilmMessage& message, int descriptor) const;
  void _awaitReleases(bool awaited);

  const int _socket;
  const int _epoll;  // with the socket
  const std::shared_ptr<VideoFrames> _frames;

  std::mutex _mutex;  // guards the members below; not held during callbacks
  std::uint64_t _epoch = 0;
  std::uint64_t _sequence = 0;
  std::uint64_t _sentSerial = 0;  // of the mailbox
  bool _sendsAgain = false;
  bool _awaitsReleases = false;
  bool _hasLoggedFailure = false;
  std::array<Buffer, frames::kFilmBuffers> _buffers;
  std::map<std::uint64_t, Held> _held;  // by sequence
  std::vector<std::shared_ptr<frames::SharedBuffer>> _copies;
  Copy _newestCopy;
};

}  // namespace media
