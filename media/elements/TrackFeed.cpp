#include "media/elements/TrackFeed.h"

#include <utility>
#include <variant>

#include "media/support/MediaErrors.h"
#include "platform/foundation/queues/Thread.h"

namespace media {

TrackFeed::TrackFeed(std::shared_ptr<streaming::TrackReader> reader,
                     std::unique_ptr<TrackDemuxer> demuxer, PacketQueues& queues,
                     PacketQueues::Targets targets)
    : _reader(std::move(reader)),
      _demuxer(std::move(demuxer)),
      _queues(queues),
      _targets(targets) {}

void TrackFeed::start(double seconds) {
  stop();
  _reader->seek(seconds);
  _demuxer->reset();
  _gate.setClosed(false);
  if (!platform::startThread(_thread, [this] { _run(); }))
    _queues.put(ElementaryFailure{noThreadError()}, _targets);
}

void TrackFeed::stop() {
  _gate.setClosed(true);
  if (_thread.joinable()) _thread.join();
}

void TrackFeed::_run() {
  while (auto item = _demuxer->next(_gate)) {
    const bool isLast = std::holds_alternative<ElementaryEnd>(*item) ||
                        std::holds_alternative<ElementaryFailure>(*item);
    if (!_queues.put(*std::move(item), _targets) || isLast) return;
  }
}

}  // namespace media
