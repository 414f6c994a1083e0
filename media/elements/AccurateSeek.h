#pragma once

#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <gst/gst.h>

#include "media/support/GstRef.h"
#include "media/support/NalUnits.h"

namespace media {

/// Completes forward seeks of demuxers that are not accurate themselves.
///
/// - Packets before the first key frame after a seek are dropped, because they cannot be decoded.
/// - If a demuxer begins behind the key frame that the target needs, an accurate seek is repeated
///   from an earlier time. The segment still begins at the target, so that the decoders drop what
///   is before it.
/// - If the video ends before the target, the last picture is shown.
/// - A seek to a key unit shows a key frame at the target or before. Other seeks begin at the next
///   key frame, and if none follows at an earlier one. Until then audio is dropped, too: it would
///   fill the queues of decodebin3, and the demuxer would not reach the key frame.
///
/// If the clock of the media starts before their first picture, the stream time of the output and
/// of the seek events is counted from the first picture.
///
/// Threads: any.
class AccurateSeek {
 public:
  /// `again` is called on a streaming thread when the seek has to be repeated. Call repeat() then,
  /// on another thread.
  explicit AccurateSeek(std::function<void()> again) : _again(std::move(again)) {}
  AccurateSeek(const AccurateSeek&) = delete;
  AccurateSeek& operator=(const AccurateSeek&) = delete;

  /// Adds a probe to a source pad of a demuxer or parser. This object has to outlive the pad.
  void watch(GstPad* pad);
  /// Only the video stream with this ID is considered; empty: none. Without a call, all video
  /// streams are.
  void setSelectedVideo(const std::string& streamID);

  /// The time from the start of the clock to the first picture, and the earliest time that the
  /// demuxer can be sought to. Call it before the start.
  void setLead(GstClockTime lead, GstClockTime earliest) {
    _lead = lead;
    _earliest = earliest;
  }
  /// Returns the event to send for a new seek.
  GstRef<GstEvent> begin(GstEvent* seek);
  /// Returns the event that repeats the seek, or null if that is no longer necessary.
  GstRef<GstEvent> repeat();
  /// The seek has ended: it is not repeated any more.
  void finish();
  /// The event was rejected.
  void cancel();

 private:
  /// A forward seek.
  struct Target {
    bool isExact = false;
    bool snapsBefore = false;  // to a key frame
    gdouble rate = 1;
    GstSeekFlags flags = GST_SEEK_FLAG_NONE;
    GstSeekType stopType = GST_SEEK_TYPE_NONE;
    gint64 stop = -1;
    GstClockTime time = 0;   // stream time of the demuxer
    GstClockTime start = 0;  // where the demuxer begins
    guint repetitions = 0;
    bool isReached = false;             // the picture to show can be decoded
    bool needsRepetition = false;       // until then video is dropped
    std::optional<GstClockTime> shown;  // of video that ends before the target, the last picture
    std::optional<GstClockTime> firstAudio;  // that was dropped
  };
  struct Stream {
    AccurateSeek* seek = nullptr;
    bool isVideo = false;
    bool isAudio = false;
    std::string id;
    std::optional<NalFormat> format;  // null: the flags of the packets tell the key frames
    guint randomPoints = 0;           // that were seen, up to 2
    guint flushedFor = 0;             // number of the seek that the last flush belongs to
    // Since the last flush:
    GstSegment segment{};                       // as sent by the demuxer
    bool hasKey = true;                         // not awaited before the first seek
    std::optional<GstClockTime> first, newest;  // stream time of the packets
  };
  static GstPadProbeReturn _onItem(GstPad* pad, GstPadProbeInfo* info, gpointer data);
  GstPadProbeReturn _take(Stream& stream, GstBuffer* buffer);
  GstPadProbeReturn _takeEvent(Stream& stream, GstPadProbeInfo* info);
  // Call these with _mutex locked:
  GstRef<GstEvent> _corrected(const Stream& stream, GstEvent* event) const;
  bool _isKey(Stream& stream, GstBuffer* buffer) const;
  bool _accepts(Stream& stream, GstClockTime time, GstClockTime end, bool isKey);
  bool _isStale(const Stream& stream) const;
  bool _isDecisive(const Stream& stream) const;
  bool _dropsAudio(const Stream& stream, GstBuffer* buffer);
  void _forget(Stream* stream);
  bool _endsBeforeTarget(const Stream& stream, GstEvent* event) const;
  bool _requestEarlierStart();
  bool _requestLastPicture(const Stream& stream);

  const std::function<void()> _again;
  GstClockTime _lead = 0;
  GstClockTime _earliest = 0;
  std::mutex _mutex;  // guards the members below and the streams
  std::optional<Target> _target;
  std::vector<Stream*> _streams;
  guint _seekCount = 0;  // with repetitions
  bool _wasSought = false;
  std::optional<std::string> _selected;
  std::optional<GstClockTime> _firstPicture;  // of the media
};

}  // namespace media
