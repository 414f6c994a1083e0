#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {

/// The part of a pipeline behind one decoder: a queue, the elements that adapt the media, and the
/// sink. The elements belong to the bin.
///
/// Video is deinterlaced; the sink converts its format. Audio keeps its pitch at other rates.
///
/// A tail stays in its pipeline. While no stream is linked to it, endIfUnlinked() keeps the
/// pipeline from waiting for its sink.
///
/// Threads: add() one at a time; the rest any.
class SinkTail {
 public:
  /// `type`: GST_STREAM_TYPE_VIDEO, _AUDIO or _TEXT. None if an element is missing or does not
  /// link.
  static std::optional<SinkTail> add(GstBin* bin, GstStreamType type, GstElement* sink);

  GstStreamType type() const { return _type; }
  /// The sink pad of the queue.
  GstPad* head() const { return _head.get(); }
  GstElement* sink() const { return _sink; }

  bool isLinked() const { return gst_pad_is_linked(_head.get()); }
  /// Links a decoded stream instead of the previous one.
  void link(GstPad* stream);
  /// Lets the queue take a little more, so that a thread that waits for room in it goes on; or no
  /// longer.
  void setSpareRoom(bool hasSpareRoom) const;
  /// If no stream is linked, drops the data in the tail and sends EOS to the sink.
  void endIfUnlinked();

 private:
  SinkTail(GstStreamType type, GstElement* sink) : _type(type), _sink(sink) {}
  void _flush() const;

  GstStreamType _type;
  GstElement* _sink;  // owned by the bin
  GstRef<GstPad> _head;
  std::unique_ptr<std::mutex> _change =
      std::make_unique<std::mutex>();  // held while events are sent
};

}  // namespace media
