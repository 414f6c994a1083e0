#pragma once

#include <atomic>

#include <gst/gst.h>

#include "media/support/GstRef.h"

namespace media {

/// The end of a pipeline's sound branch: a volume, and behind it the sink of a device, or one that
/// swallows sound in its own time. Which of them it is can be changed in mid-play; then nothing
/// flows until the pipeline is flushed.
///
/// Threads: the pipeline's, while it does not run.
class AudioOutput {
 public:
  /// Silent.
  AudioOutput();
  AudioOutput(const AudioOutput&) = delete;
  AudioOutput& operator=(const AudioOutput&) = delete;

  /// For a pipeline; null where the library lacks its simplest elements.
  GstElement* element() const { return _bin.get(); }
  bool isSilent() const { return _silent; }
  /// Whether it, or a part of it, is `object`.
  bool contains(GstObject* object) const;

  /// The sink has failed: it takes part in no change of state any more, which it would spoil.
  /// Before another one is used.
  void abandon();
  /// Null: silence.
  void use(GstRef<GstElement> sink);
  void setVolume(double volume, bool muted);
  /// Whether there is a picture to the sound, for the sound server, which may treat films and music
  /// in their own ways. Before data flow; on any thread.
  void setHasPicture(bool hasPicture) { _hasPicture = hasPicture; }

 private:
  static GstPadProbeReturn _onEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);

  GstRef<GstElement> _bin;
  GstElement* _volume = nullptr;  // the bin's, as the sink
  GstElement* _sink = nullptr;
  bool _silent = true;
  std::atomic<bool> _hasPicture = true;
};

}  // namespace media
