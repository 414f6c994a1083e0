#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "box/frames/AnswerSocket.h"
#include "box/frames/MappedBuffer.h"
#include "frames/FrameMessages.h"
#include "media/output/VideoFrames.h"

namespace box {

/// A frame in a writer's buffer. The destructor releases the buffer and notifies the writer.
class MappedFrame final : public media::VideoFrame {
 public:
  /// The planes must lie inside the buffer.
  MappedFrame(const frames::FilmMessage& message, const frames::PictureShape& shape,
              std::shared_ptr<MappedBuffer> buffer, std::shared_ptr<AnswerSocket> answers);
  ~MappedFrame() override;

  void wasShown() const override;

 private:
  const std::uint64_t _sequence;
  const std::uint32_t _index;
  const std::shared_ptr<MappedBuffer> _buffer;
  const std::shared_ptr<AnswerSocket> _answers;
  mutable std::atomic<std::int64_t> _shownAt = 0;  // CLOCK_MONOTONIC, ns
};

}  // namespace box
