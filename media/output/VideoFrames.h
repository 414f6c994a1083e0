#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "media/output/SubtitleCues.h"
#include "platform/media/MediaEngine.h"

namespace frames {
class SharedBuffer;
}

namespace media {

enum class VideoFormat { NV12, I420, BGRA };
enum class VideoMatrix { BT601, BT709 };

/// One plane of a picture: `rows` rows of `rowBytes` bytes each, `stride` bytes apart.
struct VideoPlane {
  const std::uint8_t* data = nullptr;
  std::size_t stride = 0;
  std::size_t rowBytes = 0;
  std::size_t rows = 0;
};

/// A decoded picture, mapped for reading for as long as it is held. Immutable.
///
/// It keeps a buffer of the decoder's pool busy: hold the newest one, not a collection.
/// Threads: any.
class VideoFrame {
 public:
  virtual ~VideoFrame() = default;

  /// It has been on screen for the first time. Called once, on the screen's thread.
  virtual void wasShown() const {}

  VideoFormat format = VideoFormat::I420;
  int width = 0;  ///< pixels, before the pixel aspect ratio and the rotation
  int height = 0;
  /// Shape of a pixel: the picture is shown width * numerator / denominator wide.
  int pixelAspectNumerator = 1;
  int pixelAspectDenominator = 1;
  /// Clockwise, to be applied when drawing: 0, 90, 180 or 270.
  int rotationDegrees = 0;
  VideoMatrix matrix = VideoMatrix::BT709;
  bool fullRange = false;
  /// On the item's own time line, seconds; negative when unknown.
  double time = -1;
  /// When it is to be seen, seconds, on a clock that goes like the real one while pictures follow
  /// each other, at every rate; negative when unknown.
  double due = -1;
  /// The texts of the item's time line; null when it has none.
  std::shared_ptr<const SubtitleCues> subtitles;

  /// NV12: Y and interleaved UV. I420: Y, U and V. BGRA: one, whose fourth bytes mean nothing.
  std::array<VideoPlane, 3> planes;
  std::size_t planeCount = 0;
  /// The memory in which all planes lie, where another process can map it. Null otherwise.
  std::shared_ptr<const frames::SharedBuffer> sharedMemory;
};

/// The pictures of one engine: a mailbox that holds the newest one.
///
/// A picture is put in when it is due, so whoever draws takes the newest and shows it at once.
/// After a stop there is none. What is drawn while none is there is the screen's business.
///
/// Threads: any. The wake-up is called without a lock held on the thread that put the frame in (a
/// thread of the decoder), must return quickly, must not call back into the engine, and may come
/// once more while setWakeup() replaces it on another thread, but not after that has returned.
class VideoFrames final : public platform::VideoOutput {
 public:
  std::string className() const override { return "VideoFrames"; }

  /// `wakeup` is called whenever latest() has changed, also when it has become null, and when the
  /// texts over it may have.
  void setWakeup(std::function<void()> wakeup);

  /// The newest picture that is due, or null when there is none.
  std::shared_ptr<const VideoFrame> latest() const;
  /// Counts the changes of latest(): compare with the one drawn last.
  std::uint64_t serial() const;

  // For whoever makes the pictures.
  /// Begins a load and returns its ticket: reserve() and open() in one.
  std::uint64_t open() { return open(reserve()); }
  /// A ticket for a load's pictures. Until it is opened the newest of them is kept, and not shown.
  std::uint64_t reserve();
  /// The load's turn has come: the picture kept for it, or none, takes the place of the one shown,
  /// and no more pictures of other opened loads are accepted.
  std::uint64_t open(std::uint64_t ticket);
  /// Nothing, when the ticket is neither the one open nor the newest reserved.
  void put(std::uint64_t ticket, std::shared_ptr<const VideoFrame> frame);
  /// The texts that belong to the pictures of the load have changed.
  void textsDidChange(std::uint64_t ticket);
  /// Ends the load: no picture of it is shown, kept or accepted.
  void close(std::uint64_t ticket);
  /// Ends the load that is open, whichever it is.
  void close();

 private:
  void _replace(std::shared_ptr<const VideoFrame> frame, std::unique_lock<std::mutex> lock);

  mutable std::mutex _mutex;
  std::shared_ptr<const VideoFrame> _latest;
  std::uint64_t _serial = 0;
  std::uint64_t _lastTicket = 0;
  std::uint64_t _open = 0;
  std::uint64_t _reserved = 0;
  std::shared_ptr<const VideoFrame> _kept;  // of the one reserved
  // Apart from the mailbox's, and held while the wake-up runs: latest() never waits for it.
  std::mutex _wakeupMutex;
  std::function<void()> _wakeup;
};

}  // namespace media
