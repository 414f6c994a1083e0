#include "box/engine/PictureReceiver.h"

#include <utility>

namespace box {

PictureReceiver::PictureReceiver(FileDescriptor socket, std::shared_ptr<media::VideoFrames> frames,
                                 Setup setup)
    : _frames(std::move(frames)),
      _setup(std::move(setup)),
      _connection(std::move(socket), {.content = FrameConnection::Content::Film,
                                      .onFrame = [this](const frames::FilmMessage& message,
                                                        const std::shared_ptr<MappedFrame>& frame) {
                                        _receive(message, frame);
                                      }}) {}

void PictureReceiver::_receive(const frames::FilmMessage& message,
                               const std::shared_ptr<MappedFrame>& frame) {
  if (message.epoch < _minimumEpoch) return;
  if (!frame) {
    if (const std::uint64_t ticket = _ticket.exchange(0); ticket != 0) _frames->close(ticket);
    return;
  }
  if (message.texts != 0 && _setup.textsOf) frame->subtitles = _setup.textsOf(message.texts);
  if (_ticket == 0 || message.epoch != _shownEpoch) {
    // Replace the shown picture without a gap.
    const std::uint64_t ticket = _frames->reserve();
    _frames->put(ticket, frame);
    _frames->open(ticket);
    _ticket = ticket;
    _shownEpoch = message.epoch;
  } else {
    _frames->put(_ticket, frame);
  }
  if (frame->time >= 0 && _setup.due) _setup.due(frame->time, _clock.now());
}

}  // namespace box
