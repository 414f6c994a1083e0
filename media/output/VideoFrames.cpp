#include "media/output/VideoFrames.h"

#include <utility>

namespace media {

void VideoFrames::setWakeup(std::function<void()> wakeup) {
  const std::lock_guard lock(_wakeupMutex);
  _wakeup = std::move(wakeup);
}

std::shared_ptr<const VideoFrame> VideoFrames::latest() const {
  const std::lock_guard lock(_mutex);
  return _latest;
}

std::uint64_t VideoFrames::serial() const {
  const std::lock_guard lock(_mutex);
  return _serial;
}

std::uint64_t VideoFrames::reserve() {
  std::shared_ptr<const VideoFrame> old;  // outlives the lock
  const std::lock_guard lock(_mutex);
  old = std::exchange(_reservedFrame, nullptr);
  return _reserved = ++_lastTicket;
}

std::uint64_t VideoFrames::open(std::uint64_t ticket) {
  std::unique_lock lock(_mutex);
  _open = ticket;
  std::shared_ptr<const VideoFrame> frame;
  if (ticket == _reserved) {
    _reserved = 0;
    frame = std::exchange(_reservedFrame, nullptr);
  }
  if (_latest || frame) _replace(std::move(frame), std::move(lock));
  return ticket;
}

void VideoFrames::put(std::uint64_t ticket, std::shared_ptr<const VideoFrame> frame) {
  std::unique_lock lock(_mutex);
  if (ticket == _open && _open != 0) {
    _replace(std::move(frame), std::move(lock));
  } else if (ticket == _reserved && _reserved != 0) {
    std::swap(_reservedFrame, frame);
    lock.unlock();  // before the older frame is released
  }
}

void VideoFrames::textsDidChange(std::uint64_t ticket) {
  {
    const std::lock_guard lock(_mutex);
    if (ticket != _open || !_latest) return;
  }
  const std::lock_guard wakeupLock(_wakeupMutex);
  if (_wakeup) _wakeup();
}

void VideoFrames::close(std::uint64_t ticket) {
  std::unique_lock lock(_mutex);
  if (ticket == _open) {
    _open = 0;
    if (_latest) _replace(nullptr, std::move(lock));
  } else if (ticket == _reserved) {
    _reserved = 0;
    const auto old = std::exchange(_reservedFrame, nullptr);
    lock.unlock();
  }
}

void VideoFrames::close() {
  std::unique_lock lock(_mutex);
  _open = 0;
  if (_latest) _replace(nullptr, std::move(lock));
}

void VideoFrames::_replace(std::shared_ptr<const VideoFrame> frame,
                           std::unique_lock<std::mutex> lock) {
  // Release the old frame without the lock: unmapping is slow.
  std::swap(_latest, frame);
  ++_serial;
  lock.unlock();
  frame.reset();
  const std::lock_guard wakeupLock(_wakeupMutex);
  if (_wakeup) _wakeup();
}

}  // namespace media
