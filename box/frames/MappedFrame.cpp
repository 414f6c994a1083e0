#include "box/frames/MappedFrame.h"

#include <ctime>
#include <utility>

#include "frames/vorlane-frames.h"

namespace box {

namespace {

media::VideoFormat formatOf(std::uint32_t format) {
  switch (format) {
    case VORLANE_FRAMES_NV12:
      return media::VideoFormat::NV12;
    case VORLANE_FRAMES_I420:
      return media::VideoFormat::I420;
    default:
      return media::VideoFormat::BGRA;
  }
}

/// Returns -1 if the time is unknown.
double secondsFrom(std::int64_t nanoseconds) {
  return nanoseconds < 0 ? -1 : static_cast<double>(nanoseconds) / 1e9;
}

}  // namespace

MappedFrame::MappedFrame(const frames::FilmMessage& message, const frames::PictureShape& shape,
                         std::shared_ptr<MappedBuffer> buffer,
                         std::shared_ptr<AnswerSocket> answers)
    : _sequence(message.sequence),
      _index(message.index),
      _buffer(std::move(buffer)),
      _answers(std::move(answers)) {
  format = formatOf(message.format);
  width = static_cast<int>(message.width);
  height = static_cast<int>(message.height);
  matrix = (message.flags & VORLANE_FRAMES_BT601) != 0 ? media::VideoMatrix::BT601
                                                       : media::VideoMatrix::BT709;
  fullRange = (message.flags & VORLANE_FRAMES_FULL_RANGE) != 0;
  pixelAspectNumerator = static_cast<int>(message.aspectNumerator);
  pixelAspectDenominator = static_cast<int>(message.aspectDenominator);
  rotationDegrees = static_cast<int>(message.rotation);
  time = secondsFrom(message.pts);
  due = secondsFrom(message.due);
  planeCount = shape.planeCount;
  for (std::size_t plane = 0; plane < planeCount; ++plane) {
    planes[plane] = {_buffer->data() + message.layout.offsets[plane], message.layout.strides[plane],
                     shape.planes[plane].rowBytes, shape.planes[plane].rows};
  }
}

MappedFrame::~MappedFrame() {
  // Before the release is sent: the writer may send the buffer again then.
  _buffer->release();
  frames::AnswerMessage answer;
  answer.sequence = _sequence;
  answer.index = _index;
  answer.shownAt = _shownAt;
  answer.outcome = answer.shownAt != 0 ? VORLANE_FRAMES_SHOWN : VORLANE_FRAMES_SKIPPED;
  _answers->send(answer);
}

void MappedFrame::wasShown() const {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  _shownAt = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

}  // namespace box
