#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gst/gst.h>

#include "media/output/SubtitleCues.h"
#include "media/support/GstRef.h"
#include "media/texts/ImageSubtitles.h"

namespace media {

/// The cue in a buffer of `text/x-raw`, on the item's own time line; without a text when there is
/// none.
SubtitleCue cueOf(GstBuffer* buffer, const GstSegment& segment, const GstCaps* caps);

/// The end of a pipeline's text branch, which takes texts and pictures of texts: puts each cue
/// among the subtitles as soon as it is there, ahead of its time, so that the branch never waits,
/// paused or not: one that did would hold up the choice of another stream. Another stream's cues go
/// when a new one begins.
///
/// Threads: made and destroyed by the pipeline's thread; works on the library's streaming threads,
/// all of which have ended when the pipeline is in its null state, as it must be on destruction.
class TextSink {
 public:
  /// `changed` is called on a streaming thread after a cue has come.
  TextSink(std::shared_ptr<SubtitleCues> cues, std::function<void()> changed);
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  GstElement* element() const { return _element.get(); }

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _handle(GstEvent* event);
  void _take(GstBuffer* buffer);
  void _takeImage(GstBuffer* buffer);
  void _setCaps(GstCaps* caps);
  void _readPalette(GstEvent* event);

  const std::shared_ptr<SubtitleCues> _cues;
  const std::function<void()> _changed;
  GstRef<GstElement> _element;
  // Streaming thread only.
  std::string _streamID;
  GstSegment _segment;
  GstRef<GstCaps> _caps;
  std::unique_ptr<ImageSubtitles> _images;  // null for text
  std::optional<ImageSubtitles::Palette> _palette;
};

}  // namespace media
