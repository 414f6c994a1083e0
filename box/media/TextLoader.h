#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include "box/media/GstRef.h"
#include "box/media/SubtitleCues.h"

namespace box {

/// Reads a text resource to its end, all cues at once: WebVTT, SubRip and TTML by their bytes, and
/// what else the library can tell apart (such as the playlist of a rendition) by a small pipeline.
///
/// Bounds: a text of so many bytes; what is longer has no cues.
///
/// Threads: made and destroyed on one thread; destroying breaks it off, and waits for the library's
/// threads. `done` is called once at most, on one of those, and must not destroy the loader.
class TextLoader {
 public:
  /// Without cues when there are none to be had.
  using Done = std::function<void(std::vector<SubtitleCue> cues)>;

  TextLoader(const std::string& url, Done done);
  ~TextLoader();
  TextLoader(const TextLoader&) = delete;
  TextLoader& operator=(const TextLoader&) = delete;

 private:
  bool _start(GstElement* source, const GstAppSinkCallbacks& callbacks);
  void _decode();
  static GstFlowReturn _onBytes(GstAppSink* sink, gpointer self);
  static void _onBytesEnd(GstAppSink* sink, gpointer self);
  static void _onPad(GstElement* source, GstPad* pad, gpointer self);
  static GstFlowReturn _onSample(GstAppSink* sink, gpointer self);
  static void _onEnd(GstAppSink* sink, gpointer self);
  static GstBusSyncReply _onMessage(GstBus* bus, GstMessage* message, gpointer self);
  void _finish();

  const std::string _url;
  const Done _done;
  // The second one is made by the first, at its end.
  std::array<GstRef<GstElement>, 2> _pipelines;
  std::size_t _pipelineCount = 0;
  GstElement* _sink = nullptr;  // the newest pipeline's
  std::string _bytes;           // streaming thread of the first
  std::mutex _mutex;            // protects the rest
  bool _finished = false;
  std::vector<SubtitleCue> _cues;
};

}  // namespace box
