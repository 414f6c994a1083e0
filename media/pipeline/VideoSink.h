#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include "media/captions/PictureCaptions.h"
#include "media/output/PositionClock.h"
#include "media/output/VideoFrames.h"
#include "media/pipeline/FrameConverter.h"
#include "media/pipeline/PictureMemory.h"
#include "media/support/GstRef.h"
#include "media/texts/ass/RenderedTexts.h"

namespace media {

/// The video sink of a pipeline. Puts each picture into the mailbox when it is due.
///
/// In a paused pipeline only the first preroll picture after a load or a seek is shown. Otherwise
/// pausing would advance the picture by one.
///
/// Embedded captions are read when pictures arrive, a little before they are due, except during
/// reverse playback.
///
/// Threads: created and destroyed on the pipeline's thread; works on streaming threads. The
/// pipeline must be in the null state on destruction.
class VideoSink {
 public:
  /// `subtitles` are attached to each picture. `rendered` renders styled texts for them; it may be
  /// null. `captionsFound` is called on a streaming thread for
  /// the first captions of a channel.
  VideoSink(std::shared_ptr<VideoFrames> frames, std::uint64_t ticket, PositionClock& position,
            std::shared_ptr<SubtitleCues> subtitles, std::shared_ptr<RenderedTexts> rendered,
            std::function<void(PictureCaptions::Channel)> captionsFound);
  VideoSink(const VideoSink&) = delete;
  VideoSink& operator=(const VideoSink&) = delete;

  GstElement* element() const { return _element.get(); }

  /// Returns whether a picture has become due, or EOS was reached, since the load or the last seek.
  /// An application message named kBecameDue is posted then.
  bool hasBecomeDue() const { return _due; }
  static constexpr const char* kBecameDue = "video-due";

  PictureCaptions& captions() { return _captions; }

  /// While hidden, no picture is shown: it hides the pictures before the start position.
  void setHidden(bool hidden) { _hidden = hidden; }

 private:
  static GstFlowReturn _onPreroll(GstAppSink* sink, gpointer self);
  static GstFlowReturn _onSample(GstAppSink* sink, gpointer self);
  static void _onEnd(GstAppSink* sink, gpointer self);
  static GstPadProbeReturn _onEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static GstPadProbeReturn _onQuery(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  static GstPadProbeReturn _onPicture(GstPad* pad, GstPadProbeInfo* info, gpointer self);
  std::optional<double> _streamTimeOf(GstBuffer* picture) const;
  void _requestTexts(GstBuffer* picture);
  void _describePicture();
  void _takeCaptions(GstBuffer* picture);
  void _show(GstRef<GstSample> sample, bool isDue);
  /// Returns by how many seconds a picture is late that is due at this running time.
  double _lateness(double due) const;
  void _becomeDue();

  const std::shared_ptr<VideoFrames> _frames;
  const std::uint64_t _ticket;
  PositionClock& _position;
  const std::shared_ptr<SubtitleCues> _subtitles;
  const std::shared_ptr<RenderedTexts> _rendered;
  PictureCaptions _captions;
  PictureMemoryUse _memory;
  GstRef<GstElement> _element;
  std::atomic<bool> _due = false;
  std::atomic<bool> _hidden = false;
  // Streaming thread only.
  bool _showPreroll = true;
  int _rotation = 0;
  GstVideoInfo _format{};  // of the arriving pictures; without a size before the first caps
  FrameConverter _converter;
  GstSegment _segment;
};

}  // namespace media
