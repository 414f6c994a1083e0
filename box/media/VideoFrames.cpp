#include "box/media/VideoFrames.h"

#include <utility>

namespace box {

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

std::uint64_t VideoFrames::open() {
  std::unique_lock lock(_mutex);
  _open = true;
  const std::uint64_t ticket = ++_ticket;
  if (_latest) _replace(nullptr, std::move(lock));
  return ticket;
}

void VideoFrames::put(std::uint64_t ticket, std::shared_ptr<const VideoFrame> frame) {
  std::unique_lock lock(_mutex);
  if (!_open || ticket != _ticket) return;
  _replace(std::move(frame), std::move(lock));
}

void VideoFrames::close() {
  std::unique_lock lock(_mutex);
  _open = false;
  if (_latest) _replace(nullptr, std::move(lock));
}

void VideoFrames::_replace(std::shared_ptr<const VideoFrame> frame,
                           std::unique_lock<std::mutex> lock) {
  // The one that goes out is let go after the lock: unmapping is not free.
  std::swap(_latest, frame);
  ++_serial;
  lock.unlock();
  frame.reset();
  const std::lock_guard wakeupLock(_wakeupMutex);
  if (_wakeup) _wakeup();
}

}  // namespace box
