#pragma once

#include <mutex>

#include <gst/gst.h>

#include "media/elements/PlayRange.h"
#include "media/segments/TrackDemuxer.h"
#include "media/support/GstRef.h"

namespace media {

/// The parser and decoder between a pad of packets and the elements that take decoded media. They
/// are chosen for the format and replaced, after they have put out everything, when the codec
/// changes.
///
/// Threads: use() and bypass() are for the thread that pushes into the pad; flush() is for any.
class DecoderChain {
 public:
  enum class Result { Ready, NoDecoder, Cancelled };

  /// All outlive this, and the pads belong to elements of `bin`.
  DecoderChain(GstBin* bin, ElementaryKind kind, GstPad* source, GstPad* tail);

  /// What follows is of this format; `first` is the first of it, a key frame. Changes nothing when
  /// `range` has been cancelled meanwhile.
  Result use(GstCaps* caps, GstBuffer* first, const PlayRange& range);
  /// Nothing is to be decoded yet: gaps and the end go right to the tail. Returns the caps that
  /// have to be told first, or null where the tail needs none.
  GstRef<GstCaps> bypass();
  /// Sends a flush event through whatever is in between.
  void flush(GstEvent* event);

 private:
  void _drain();
  void _link(GstPad* head, GstPad* end);
  void _remove(GstElement* element);

  GstBin* const _bin;
  const ElementaryKind _kind;
  GstPad* const _source;
  GstPad* const _tail;
  std::mutex _linking;  // held while a flush goes through, or links change
  GstRef<GstCaps> _caps;
  // The bin's. Null where the format needs none.
  GstElement* _parser = nullptr;
  GstElement* _decoder = nullptr;
};

}  // namespace media
