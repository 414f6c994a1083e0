#pragma once

#include <string>

#include <gst/gst.h>

namespace box {

/// Makes the demuxers of playlists in `playbin` bear a seek at any moment. GStreamer 1.22 hands its
/// downloads to a thread of their own, and giving one up that has not been taken there is lost: it
/// goes on beside the one that took its place, and the demuxer ends the process, or takes its bytes
/// for those of the other.
///
/// So a seek waits in its flush, while the demuxer begins nothing new and has given up nothing yet,
/// until that thread has taken what it was handed; half a second at most. Before the playbin3
/// starts, and after the library has been initialized.
void takeDownloadsBeforeFlush(GstElement* playbin);

/// What the library's HTTP client has been handed.
struct Downloads {
  unsigned begun = 0;
  unsigned ended = 0;
  bool operator==(const Downloads&) const = default;
};

/// Of what `url` is of: it shares the server's name and the first part of its path. Any thread.
Downloads downloadsOf(const std::string& url);

}  // namespace box
