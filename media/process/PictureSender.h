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

/// Sends the newest picture of a mailbox to the box, in memory that both have mapped.
/// docs/frames.md has the messages.
///
/// A picture in shared memory is sent as it is; others are copied into shared memory first. A
/// picture is held until the box has released it, so that its memory is not written meanwhile.
/// While the box holds several, newer ones wait, and only the newest of them is sent.
///
/// Nothing here waits. Pictures are sent on the thread that puts them into the mailbox, and that
/// thread reads the releases of earlier ones: a release wakes nobody while pictures follow each
/// other.
///
/// Threads: any; made and destroyed while nobody else uses it.
class PictureSender {
 public:
  /// Owns the socket, a SEQPACKET one. Takes the mailbox's wake-up for itself.
  PictureSender(int socket, std::shared_ptr<VideoFrames> frames);
  ~PictureSender();
  PictureSender(const PictureSender&) = delete;
  PictureSender& operator=(const PictureSender&) = delete;

  /// From here on pictures have this epoch. The newest picture, or that there is none, is sent at
  /// once, even if it was sent before: call this when the load of that epoch has taken its place in
  /// the mailbox.
  void setEpoch(std::uint64_t epoch);

  /// To be polled for reading; then call read(). It is readable when a release has come that
  /// somebody waits for: a picture waits to be sent, or there is none any more and the memory of
  /// the last ones is to be given back.
  int descriptor() const { return _awaited; }
  /// Takes the releases that have come. False when the box has closed its end.
  bool read();

 private:
  using Memory = std::shared_ptr<const frames::SharedBuffer>;
  /// A buffer that the box has mapped.
  struct Buffer {
    std::weak_ptr<const void> life;  ///< of its memory
    std::size_t bytes = 0;           ///< 0: none
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

  enum class Taken { Answer, Nothing, End };
  Taken _takeAnswer(std::vector<Held>& released);
  void _sendNewest();
  bool _send(const std::shared_ptr<const VideoFrame>& newest);
  bool _sendNone();
  bool _sendPicture(const std::shared_ptr<const VideoFrame>& frame);
  Memory _memoryOf(const std::shared_ptr<const VideoFrame>& frame, frames::FrameLayout& layout);
  bool _copy(const std::shared_ptr<const VideoFrame>& frame);
  std::shared_ptr<frames::SharedBuffer> _freeMemory(std::size_t bytes);
  std::uint32_t _place(const Memory& memory, std::uint64_t& gone) const;
  bool _send(const frames::FilmMessage& message, int descriptor) const;
  void _awaitReleases(bool awaited);

  const int _socket;
  const int _awaited;  // an epoll instance with the socket
  const std::shared_ptr<VideoFrames> _frames;

  std::mutex _mutex;  // protects what comes next; nobody is called while it is held
  std::uint64_t _epoch = 0;
  std::uint64_t _sequence = 0;
  std::uint64_t _sentSerial = 0;  // of the mailbox
  bool _sendsAgain = false;
  bool _awaitsReleases = false;
  bool _toldOfUnsendable = false;
  std::array<Buffer, frames::kFilmBuffers> _buffers;
  std::map<std::uint64_t, Held> _held;  // by sequence
  std::vector<std::shared_ptr<frames::SharedBuffer>> _copies;
  Copy _newestCopy;
};

}  // namespace media
