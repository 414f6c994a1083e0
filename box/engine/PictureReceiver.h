#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "box/frames/FrameConnection.h"
#include "box/services/support/FileDescriptor.h"
#include "frames/FrameMessages.h"
#include "media/output/SubtitleCues.h"
#include "media/output/VideoFrames.h"
#include "platform/foundation/queues/Clock.h"

namespace box {

/// Takes the pictures of a media process and puts them into the mailbox that the screen draws from.
///
/// What the mailbox shows stays there until this process has a picture of its own, and after the
/// receiver has gone: a picture of a process that has died stands until its successor has one. Only
/// pictures of this receiver are taken away when the process tells that there is none.
///
/// Threads: read() on one; the others any. Lifetime: its pictures may outlive it.
class PictureReceiver {
 public:
  using State = FrameConnection::State;
  struct Setup {
    /// The texts of that number. Called within read().
    std::function<std::shared_ptr<const media::SubtitleCues>(std::uint64_t textsID)> textsOf;
    /// A picture of this time, in seconds on the item's time line, is shown from now on. Called
    /// within read().
    std::function<void(double time, platform::TimePoint arrived)> due;
  };

  PictureReceiver(FileDescriptor socket, std::shared_ptr<media::VideoFrames> frames, Setup setup);
  PictureReceiver(const PictureReceiver&) = delete;
  PictureReceiver& operator=(const PictureReceiver&) = delete;

  /// To be polled for reading.
  int descriptor() const { return _connection.descriptor(); }
  /// Takes what has come, never waiting. After State::Broken reason() says what was wrong.
  State read() { return _connection.read(); }
  const std::string& reason() const { return _connection.reason(); }

  /// Pictures of an epoch before this one are released unseen.
  void setMinimumEpoch(std::uint64_t epoch) { _minimumEpoch = epoch; }
  /// The texts of the picture that is shown may have changed.
  void textsDidChange() { _frames->textsDidChange(_ticket); }

 private:
  void _take(const frames::FilmMessage& message, const std::shared_ptr<MappedFrame>& frame);

  const std::shared_ptr<media::VideoFrames> _frames;
  const Setup _setup;
  platform::SystemClock _clock;
  std::atomic<std::uint64_t> _minimumEpoch = 0;
  std::atomic<std::uint64_t> _ticket = 0;  // of the pictures shown; 0: none is
  std::uint64_t _shownEpoch = 0;           // reading thread only
  FrameConnection _connection;             // last: it calls back
};

}  // namespace box
