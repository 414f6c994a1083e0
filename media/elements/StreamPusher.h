#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <vector>

#include <gst/gst.h>

#include "media/elements/DecoderChain.h"
#include "media/elements/PacketQueues.h"
#include "media/elements/PlayRange.h"
#include "media/support/GstRef.h"
#include "platform/foundation/Error.h"

namespace media {

/// Pushes the packets of one queue into a pad, like a demuxer of GStreamer.
///
/// After a seek it begins with the last key frame before the target; for audio a little before the
/// target. The decoder clips what is outside of the segment.
///
/// Threads: step() is called by the task of the pad, reset() by any thread while that is paused.
class StreamPusher {
 public:
  struct Setup {
    ElementaryKind kind = ElementaryKind::Video;
    GstPad* pad = nullptr;  ///< has to outlive the pusher
    guint groupID = 0;
    PacketQueues* queues = nullptr;
    PlayRange* range = nullptr;
    DecoderChain* chain = nullptr;
    /// The queue is empty before its end (true), or has items again (false).
    std::function<void(bool)> waits;
    std::function<void(const platform::Error&)> failed;  ///< there will be no more packets
    std::function<void(GstCaps*)> lacksDecoder;
    std::function<void(GstFlowReturn)> refused;   ///< elements downstream have returned an error
    std::function<void(double seconds)> reached;  ///< the pushed position; a few times a second
  };
  explicit StreamPusher(Setup setup) : _setup(std::move(setup)) {}

  ElementaryKind kind() const { return _setup.kind; }
  GstPad* pad() const { return _setup.pad; }

  /// Prepares the first step() after a start or a flush. `isFed`: the queue will get items.
  void reset(bool isFed);
  /// The pad was activated again: stream-start and caps have to be pushed again.
  void forgetPad();
  /// Pushes one item. Returns false if nothing is left to push before the next reset().
  bool step();

 private:
  struct Packet {
    GstRef<GstCaps> caps;
    GstRef<GstBuffer> buffer;
  };
  void _pushStreamStart() const;
  std::optional<ElementaryItem> _take();
  bool _handle(ElementaryFormat& format);
  bool _handle(ElementaryBuffer& buffer);
  bool _handle(const ElementaryGap& gap);
  bool _handle(const ElementaryEnd&) { return _end(); }
  bool _handle(const ElementaryFailure& failure);
  bool _beginVideo(Packet packet);
  bool _beginAudio(Packet packet);
  void _startWithoutKey() const;
  bool _beginFlow();
  bool _push(Packet packet);
  bool _useFormat(const Packet& packet);
  void _pushSegment();
  void _reportPosition(GstClockTime time);
  bool _end();

  const Setup _setup;
  bool _isFed = false;
  bool _isOver = false;
  bool _flows = false;         // the start of the segment was reached
  std::vector<Packet> _group;  // packets since the last key frame before the start
  GstRef<GstCaps> _format;
  std::optional<GstSegment> _segment;  // the current segment
  bool _needsSegment = false;
  std::optional<GstClockTime> _reached;  // the last reported position
  bool _isDiscontinuous = false;         // nothing was pushed since the start or a gap

  bool _hasBegunStream = false;
  GstRef<GstCaps> _pushedFormat;
};

}  // namespace media
