#pragma once

#include <atomic>
#include <functional>
#include <memory>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include "media/captions/PictureCaptions.h"
#include "media/output/PositionClock.h"
#include "media/output/VideoFrames.h"
#include "media/pipeline/FrameConverter.h"
#include "media/pipeline/PictureMemory.h"
#include "media/support/GstRef.h"

namespace media {

/// The end of a pipeline's video branch: takes each picture when it is due and puts it into the
/// mailbox.
///
/// A picture that merely waits in a paused pipeline is shown only when it is the first one after a
/// load or a seek; pausing would otherwise move the picture on by one.
///
/// Captions that lie in the pictures are put among the subtitles as the pictures come, a
/// little ahead of their time, as long as they come forwards.
///
/// Threads: made and destroyed by the pipeline's thread; works on the library's streaming threads,
/// all of which have ended when the pipeline is in its null state, as it must be on destruction.
class VideoSink {
 public:
  /// Each picture takes `subtitles` along. `captionsFound` is called on a streaming thread, when
  /// the first captions of a channel have come.
  VideoSink(std::shared_ptr<VideoFrames> frames, std::uint64_t ticket, PositionClock& position,
            std::shared_ptr<SubtitleCues> subtitles,
            std::function<void(PictureCaptions::Channel)> captionsFound);
  VideoSink(const VideoSink&) = delete;
  VideoSink& operator=(const VideoSink&) = delete;

  GstElement* element() const { return _element.get(); }

  /// Whether a picture has become due, or the pictures have ended, since the load or the last seek.
  /// When that becomes true an application message named kBecameDue comes over the bus.
  bool hasBecomeDue() const { return _due; }
  static constexpr const char* kBecameDue = "video-due";

  PictureCaptions& captions() { return _captions; }

  /// While hidden no picture is shown: those before the start point are nobody's business.
  void setHidden(bool hidden) { _hidden = hidden; }

 private:
  static GstFlowReturn _onPreroll(GstAppSink* sink, gpointer self);
  static GstFlowReturn _onSample(GstAppSink* sink, gpointer self);
  static void _onEnd(GstAppSink* sink, gpointer self);
  static GstPadProbeReturn _onEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static GstPadProbeReturn _onQuery(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static GstPadProbeReturn _onPicture(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  void _takeCaptions(GstBuffer* picture);
  void _show(GstRef<GstSample> sample, bool isDue);
  void _becomeDue();

  const std::shared_ptr<VideoFrames> _frames;
  const std::uint64_t _ticket;
  PositionClock& _position;
  const std::shared_ptr<SubtitleCues> _subtitles;
  PictureCaptions _captions;
  PictureMemoryUse _memory;
  GstRef<GstElement> _element;
  std::atomic<bool> _due = false;
  std::atomic<bool> _hidden = false;
  // Streaming thread only.
  bool _showPreroll = true;
  int _rotation = 0;
  FrameConverter _converter;
  GstSegment _segment;
};

}  // namespace media
