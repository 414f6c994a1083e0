#pragma once

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

/// Reads a text resource (WebVTT, SubRip, TTML and what else the library tells apart) to its end,
/// all cues at once, with a small pipeline of its own.
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
  static void _onPad(GstElement* source, GstPad* pad, gpointer self);
  static GstFlowReturn _onSample(GstAppSink* sink, gpointer self);
  static void _onEnd(GstAppSink* sink, gpointer self);
  static GstBusSyncReply _onMessage(GstBus* bus, GstMessage* message, gpointer self);
  void _finish();

  const Done _done;
  GstRef<GstElement> _pipeline;
  GstElement* _sink = nullptr;  // the pipeline's
  std::mutex _mutex;            // protects the rest
  bool _finished = false;
  std::vector<SubtitleCue> _cues;
};

}  // namespace box
