#pragma once

#include <atomic>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {

/// The audio sink of a pipeline: a volume element, then the sink of a device or a fake sink with
/// the same timing. The sink can be replaced during playback; data flows again after a flush.
///
/// Threads: the pipeline's, while the pipeline is not in the PLAYING state.
class AudioOutput {
 public:
  /// Begins with the fake sink.
  AudioOutput();
  AudioOutput(const AudioOutput&) = delete;
  AudioOutput& operator=(const AudioOutput&) = delete;

  /// Null if elements of GStreamer are missing.
  GstElement* element() const { return _bin.get(); }
  bool isSilent() const { return _silent; }
  /// Returns whether `object` is this bin or an element in it.
  bool contains(GstObject* object) const;

  /// Call it after the sink has failed, before use(): locks its state, because it would make state
  /// changes of the pipeline fail.
  void abandon();
  /// Replaces the sink. Null: the fake sink.
  void use(GstRef<GstElement> sink);
  void setVolume(double volume, bool muted);
  /// Sets whether the media have video, for the stream properties at the sound server. Call it
  /// before data flows. Threads: any.
  void setHasPicture(bool hasPicture) { _hasPicture = hasPicture; }

 private:
  static GstPadProbeReturn _onEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);

  GstRef<GstElement> _bin;
  GstElement* _volume = nullptr;  // owned by the bin, as is the sink
  GstElement* _sink = nullptr;
  bool _silent = true;
  std::atomic<bool> _hasPicture = true;
};

}  // namespace media
