#pragma once

#include <memory>
#include <thread>

#include "media/elements/PacketQueues.h"
#include "media/segments/TrackDemuxer.h"
#include "streaming/playback/ReadGate.h"
#include "streaming/playback/TrackReader.h"

namespace media {

/// Runs a demuxer on a thread of its own and puts its output into queues.
///
/// Threads: one at a time.
class TrackFeed {
 public:
  TrackFeed(std::shared_ptr<streaming::TrackReader> reader, std::unique_ptr<TrackDemuxer> demuxer,
            PacketQueues& queues, PacketQueues::Targets targets);
  ~TrackFeed() { stop(); }
  TrackFeed(const TrackFeed&) = delete;
  TrackFeed& operator=(const TrackFeed&) = delete;

  const std::shared_ptr<streaming::TrackReader>& reader() const { return _reader; }
  PacketQueues::Targets targets() const { return _targets; }

  /// Starts at this position. The queues have to be open.
  void start(double seconds);
  /// Waits for the thread. The queues have to be closed.
  void stop();

 private:
  void _run();

  const std::shared_ptr<streaming::TrackReader> _reader;
  const std::unique_ptr<TrackDemuxer> _demuxer;
  PacketQueues& _queues;
  const PacketQueues::Targets _targets;
  streaming::ReadGate _gate;
  std::thread _thread;
};

}  // namespace media
