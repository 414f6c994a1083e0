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

/// A decoded picture, mapped for reading while a reference is held. Immutable.
///
/// It occupies a buffer of the decoder's pool: keep only the newest one.
/// Threads: any.
class VideoFrame {
 public:
  virtual ~VideoFrame() = default;

  /// Called once on the screen's thread, after the frame was on the screen for the first time.
  virtual void wasShown() const {}

  VideoFormat format = VideoFormat::I420;
  int width = 0;  ///< pixels, before the pixel aspect ratio and the rotation
  int height = 0;
  /// The display width is width * numerator / denominator.
  int pixelAspectNumerator = 1;
  int pixelAspectDenominator = 1;
  /// The clockwise rotation to apply when drawing: 0, 90, 180 or 270.
  int rotationDegrees = 0;
  VideoMatrix matrix = VideoMatrix::BT709;
  bool fullRange = false;
  /// Stream time in seconds; negative if unknown.
  double time = -1;
  /// When to show it, in seconds of a clock that advances like real time while pictures follow each
  /// other, at every rate. Negative if unknown.
  double due = -1;
  /// The texts of the item; null if it has none.
  std::shared_ptr<const SubtitleCues> subtitles;

  /// NV12: Y and interleaved UV. I420: Y, U and V. BGRA: one plane; the fourth byte is unused.
  std::array<VideoPlane, 3> planes;
  std::size_t planeCount = 0;
  /// The shared memory of all planes, or null if another process cannot map them.
  std::shared_ptr<const frames::SharedBuffer> sharedMemory;
};

/// The pictures of one engine: a mailbox that holds the newest one.
///
/// A picture is put in when it is due, so the reader takes the newest one and shows it at once.
/// After a stop there is none; the screen decides what to draw then.
///
/// Threads: any. The wake-up is called without `_mutex` held, on the thread that put the frame in
/// (a streaming thread). It must return quickly and must not call the engine. It may be called once
/// more while setWakeup() replaces it on another thread, but not after setWakeup() has returned.
class VideoFrames final : public platform::VideoOutput {
 public:
  std::string className() const override { return "VideoFrames"; }

  /// `wakeup` is called after latest() has changed, also to null, or the texts have changed.
  void setWakeup(std::function<void()> wakeup);

  /// Returns the newest picture that is due, or null.
  std::shared_ptr<const VideoFrame> latest() const;
  /// Returns the number of changes of latest(), to compare with the picture drawn last.
  std::uint64_t serial() const;

  // For the producer of the pictures.
  /// Begins a load: reserve() and open() in one call. Returns the ticket.
  std::uint64_t open() { return open(reserve()); }
  /// Returns a ticket for a load. Until open(), the newest picture of it is kept and not shown.
  std::uint64_t reserve();
  /// Makes the reserved load the current one. The picture kept for it, or none, replaces the one
  /// shown. Pictures of other opened loads are not accepted any more.
  std::uint64_t open(std::uint64_t ticket);
  /// Ignored unless the ticket is the open one or the newest reserved one.
  void put(std::uint64_t ticket, std::shared_ptr<const VideoFrame> frame);
  void textsDidChange(std::uint64_t ticket);
  /// Ends the load: its pictures are not shown, kept or accepted any more.
  void close(std::uint64_t ticket);
  void close();

 private:
  void _replace(std::shared_ptr<const VideoFrame> frame, std::unique_lock<std::mutex> lock);

  mutable std::mutex _mutex;
  std::shared_ptr<const VideoFrame> _latest;
  std::uint64_t _serial = 0;
  std::uint64_t _lastTicket = 0;
  std::uint64_t _open = 0;
  std::uint64_t _reserved = 0;
  std::shared_ptr<const VideoFrame> _reservedFrame;
  // Held while the wake-up runs. Separate from `_mutex`, so that latest() does not wait for it.
  std::mutex _wakeupMutex;
  std::function<void()> _wakeup;
};

}  // namespace media
