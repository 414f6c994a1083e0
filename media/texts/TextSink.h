#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <gst/gst.h>

#include "media/output/SubtitleCues.h"
#include "media/support/GstRef.h"
#include "media/texts/ImageSubtitles.h"
#include "media/texts/ass/RenderedTexts.h"

namespace media {

/// Returns the cue in a buffer of `text/x-raw`, with its stream time. The cue is empty and has no
/// duration if the buffer has no text.
SubtitleCue cueOf(GstBuffer* buffer, const GstSegment& segment, const GstCaps* caps);

/// The sink of a pipeline's text branch. It takes texts and bitmap subtitles and adds each cue to
/// the subtitles when it arrives, before it is due. It never blocks, also while paused: a blocked
/// text branch would block the switch to another stream. A new stream clears the cues of the old
/// one.
///
/// Threads: created and destroyed on the pipeline's thread; its probe runs on streaming threads.
/// The pipeline must be in the null state on destruction.
class TextSink {
 public:
  /// ASS is added to `rendered`. `changed` is called on a streaming thread after a cue was added.
  TextSink(std::shared_ptr<SubtitleCues> cues, std::shared_ptr<RenderedTexts> rendered,
           std::function<void()> changed);
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  GstElement* element() const { return _element.get(); }

 private:
  static GstPadProbeReturn _onData(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _handle(GstEvent* event);
  void _take(GstBuffer* buffer);
  void _takeImage(GstBuffer* buffer);
  void _takeStyled(GstBuffer* buffer);
  void _setCaps(GstCaps* caps);
  void _beginStyled();
  void _readFonts(GstEvent* event);
  void _readPalette(GstEvent* event);

  const std::shared_ptr<SubtitleCues> _cues;
  const std::shared_ptr<RenderedTexts> _rendered;
  const std::function<void()> _changed;
  GstRef<GstElement> _element;
  // Streaming thread only.
  std::string _streamID;
  GstSegment _segment;
  GstRef<GstCaps> _caps;
  std::unique_ptr<ImageSubtitles> _images;  // null for text
  std::optional<ImageSubtitles::Palette> _palette;
  guint _attachments = 0;                 // in the newest tags with attachments
  std::optional<std::string> _assHeader;  // of the stream, if it is ASS
};

}  // namespace media
