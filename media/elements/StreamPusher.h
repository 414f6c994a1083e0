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

/// Pushes what is in the queue of one kind into a pad, as a demuxer of GStreamer would.
///
/// After a seek it pushes from the last key frame on that is not after the wanted time, of sound
/// from a little before it. What is outside of the segment is clipped by the decoder.
///
/// Threads: step() is for the task of the pad, reset() for anyone while that does not run.
class StreamPusher {
 public:
  struct Setup {
    ElementaryKind kind = ElementaryKind::Video;
    GstPad* pad = nullptr;  ///< outlives this
    guint groupID = 0;
    PacketQueues* queues = nullptr;
    PlayRange* range = nullptr;
    DecoderChain* chain = nullptr;
    /// There is nothing in the queue, and its end has not come (true); it goes on (false).
    std::function<void(bool)> waits;
    std::function<void(const platform::Error&)> failed;  ///< nothing of the kind comes any more
    std::function<void(GstCaps*)> lacksDecoder;
    std::function<void(GstFlowReturn)> refused;   ///< by the elements behind the pad
    std::function<void(double seconds)> reached;  ///< what is pushed now; a few times a second
  };
  explicit StreamPusher(Setup setup) : _setup(std::move(setup)) {}

  ElementaryKind kind() const { return _setup.kind; }
  GstPad* pad() const { return _setup.pad; }

  /// The next step() is the first after a start or a flush. `isFed`: there is something to push.
  void reset(bool isFed);
  /// The pad has been activated anew: nothing has been told yet.
  void forgetPad();
  /// Pushes one item. Returns false when nothing is left to push before the next reset().
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
  bool _beginFlow();
  bool _push(Packet packet);
  bool _useFormat(const Packet& packet);
  void _pushSegment();
  void _tellReached(GstClockTime time);
  bool _end();

  const Setup _setup;
  bool _isFed = false;
  bool _isOver = false;
  bool _flows = false;         // the start of the segment has been reached
  std::vector<Packet> _group;  // before that: since the last key frame
  GstRef<GstCaps> _format;
  std::optional<GstSegment> _segment;  // pushed, or about to be
  bool _needsSegment = false;
  std::optional<GstClockTime> _reached;  // as it was told last
  bool _isDiscontinuous = false;         // nothing has been pushed since the start or a gap

  bool _hasBegunStream = false;
  GstRef<GstCaps> _pushedFormat;
};

}  // namespace media
