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

/// Receives the pictures of a media process and puts them into the VideoFrames that the screen
/// draws.
///
/// The shown picture stays until this process sends one, and after the receiver is destroyed, so
/// that the last picture of a dead process stays until its replacement sends one. A "no picture"
/// message removes pictures of this receiver only.
///
/// Threads: read() belongs to one thread; the other functions are thread-safe. Pictures may outlive
/// the receiver.
class PictureReceiver {
 public:
  using State = FrameConnection::State;
  struct Setup {
    /// Returns the texts with this id. Called within read().
    std::function<std::shared_ptr<const media::SubtitleCues>(std::uint64_t textsID)> textsOf;
    /// A picture with this time on the item's timeline (in seconds) is shown from now on. Called
    /// within read().
    std::function<void(double time, platform::TimePoint arrived)> due;
  };

  PictureReceiver(FileDescriptor socket, std::shared_ptr<media::VideoFrames> frames, Setup setup);
  PictureReceiver(const PictureReceiver&) = delete;
  PictureReceiver& operator=(const PictureReceiver&) = delete;

  /// To poll for reading.
  int descriptor() const { return _connection.descriptor(); }
  /// Reads pending messages without blocking. After State::Broken, reason() describes the error.
  State read() { return _connection.read(); }
  const std::string& reason() const { return _connection.reason(); }

  /// Pictures of earlier epochs are dropped.
  void setMinimumEpoch(std::uint64_t epoch) { _minimumEpoch = epoch; }
  /// Call it when the texts of the shown picture may have changed.
  void textsDidChange() { _frames->textsDidChange(_ticket); }

 private:
  void _receive(const frames::FilmMessage& message, const std::shared_ptr<MappedFrame>& frame);

  const std::shared_ptr<media::VideoFrames> _frames;
  const Setup _setup;
  platform::SystemClock _clock;
  std::atomic<std::uint64_t> _minimumEpoch = 0;
  std::atomic<std::uint64_t> _ticket = 0;  // of the shown pictures; 0: none
  std::uint64_t _shownEpoch = 0;           // reading thread only
  FrameConnection _connection;             // last member, because it calls back
};

}  // namespace box
