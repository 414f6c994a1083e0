#pragma once

#include <memory>
#include <string>
#include <vector>

#include <glib.h>

namespace box {

// What the HTTP sessions of libsoup are doing. The demuxers of playlists have sessions of their own
// and do not show them; two workarounds need to know of them.

/// Requests of one item that were handed to libsoup, and those that have ended.
struct SoupDownloads {
  unsigned begun = 0;
  unsigned ended = 0;
  bool operator==(const SoupDownloads&) const = default;
};

/// Begins to count, for the whole process. Any number of times, any thread.
void countSoupDownloads();

/// Of the item that `url` belongs to: its URLs share the server and the first part of the path. Any
/// thread.
SoupDownloads soupDownloadsOf(const std::string& url);

/// The contexts of the threads that hand requests to libsoup. Any thread.
std::vector<std::shared_ptr<GMainContext>> soupDownloadContexts();

}  // namespace box
