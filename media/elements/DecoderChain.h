#pragma once

#include <mutex>

#include <gst/gst.h>

#include "media/elements/PlayRange.h"
#include "media/segments/TrackDemuxer.h"
#include "media/support/GstRef.h"

namespace media {

/// The parser and the decoder between a pad with packets and the elements for decoded media. They
/// are chosen by the caps. When the codec changes, they are drained and replaced.
///
/// Threads: use() and bypass() are called by the thread that pushes into the pad; flush() any.
class DecoderChain {
 public:
  enum class Result { Ready, NoDecoder, Cancelled };

  /// All arguments have to outlive the chain. The pads belong to elements in `bin`.
  DecoderChain(GstBin* bin, ElementaryKind kind, GstPad* source, GstPad* tail);

  /// Prepares for data with these caps. `first` is the first packet, a key frame. Changes nothing
  /// if `range` is cancelled meanwhile.
  Result use(GstCaps* caps, GstBuffer* first, const PlayRange& range);
  /// Links the source directly to the tail, for gaps and EOS before any data. Returns the caps that
  /// have to be pushed first, or null if none are needed.
  GstRef<GstCaps> bypass();
  /// Sends a flush event to the first element of the chain.
  void flush(GstEvent* event);

 private:
  void _drain();
  void _link(GstPad* head, GstPad* end);
  void _remove(GstElement* element);

  GstBin* const _bin;
  const ElementaryKind _kind;
  GstPad* const _source;
  GstPad* const _tail;
  std::mutex _linking;  // held during flushes and while links change
  GstRef<GstCaps> _caps;
  // Owned by the bin. Null if the format needs none.
  GstElement* _parser = nullptr;
  GstElement* _decoder = nullptr;
};

}  // namespace media
