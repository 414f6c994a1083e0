#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>

#include "frames/FrameLayout.h"
#include "frames/FrameMessages.h"
#include "frames/SharedBuffer.h"
#include "frames/vorlane-frames.h"

namespace frames {

/// Implements vorlane-frames.h, one member function per C function, with the same results.
class FrameWriter {
 public:
  /// Takes ownership of the connected socket.
  explicit FrameWriter(int socket) : _socket(socket) {}
  ~FrameWriter();
  FrameWriter(const FrameWriter&) = delete;
  FrameWriter& operator=(const FrameWriter&) = delete;

  /// Waits for the reader's greeting.
  int greet(int timeoutMilliseconds);
  int configure(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                std::uint32_t count);
  int acquire(int timeoutMilliseconds, vorlane_frames_buffer* buffer);
  int send(const vorlane_frames_buffer& buffer, const vorlane_frames_picture& picture);
  int process();
  void setReleaseHandler(void (*handler)(const vorlane_frames_release*, void*), void* context) {
    _handler = handler;
    _context = context;
  }

  int descriptor() const { return _socket; }
  const vorlane_frames_statistics& statistics() const { return _statistics; }

 private:
  struct Slot {
    std::unique_ptr<SharedBuffer> memory;
    bool announced = false;  ///< the reader has received the descriptor
    std::uint64_t occupant =
        0;  ///< sequence number of the picture that the reader still uses; 0: none
  };
  /// A sent picture that was not released yet.
  struct Pending {
    std::int64_t pts;
    std::int64_t sentAt;
  };

  int _receive(std::optional<AnswerMessage>& answer) const;
  int _released(const AnswerMessage& answer);
  int _waitForInput(std::int64_t deadline) const;
  void _describe(std::uint32_t index, vorlane_frames_buffer* buffer) const;

  const int _socket;
  std::uint32_t _format = 0;
  std::uint32_t _width = 0;
  std::uint32_t _height = 0;
  PictureShape _shape;
  FrameLayout _layout;
  std::array<Slot, VORLANE_FRAMES_MAXIMUM_BUFFERS> _slots;
  std::uint32_t _slotCount = 0;
  std::optional<std::uint32_t> _acquired;
  /// Includes the pictures of discarded buffers.
  std::map<std::uint64_t, Pending> _pending;
  std::uint64_t _lastSequence = 0;
  vorlane_frames_statistics _statistics{};
  void (*_handler)(const vorlane_frames_release*, void*) = nullptr;
  void* _context = nullptr;
};

/// CLOCK_MONOTONIC, ns.
std::int64_t monotonicNow();

}  // namespace frames
