#pragma once

#include <memory>
#include <optional>
#include <string>

#include "box/relay/RelayItem.h"

namespace box {

struct RelayOptions {
  /// Where bodies of items that may use a disk cache are kept; empty: nowhere.
  std::string cacheFolder;
};

/// The one road for media bytes: an HTTP server on the loopback address that fetches for the media
/// engine, or asks the application for what no server has.
///
/// Each item has a path that nobody can guess, and only this process is let in. Bodies pass through
/// as they arrive, a bounded part of each in memory; playlists are rewritten so that all they name
/// comes back here.
///
/// Bounds: 15 s to connect, 30 s without a byte, ten redirects, three retries of what may pass.
///
/// Threads: any; the work is done on one thread of its own, which starts with the first item.
/// Lifetime: items may outlive it and are dead then.
class Relay {
 public:
  static std::shared_ptr<Relay> make(RelayOptions options = {});
  virtual ~Relay() = default;

  /// Null, with the reason, when there is no server to be had.
  virtual std::shared_ptr<RelayItem> open(RelayItemSetup setup,
                                          std::optional<platform::Error>* error) = 0;
  /// Starts the thread and the server, off the calling thread.
  virtual void warmUp() = 0;
};

/// Whether items of this URL go through the relay: every scheme that names a network resource or
/// something that a sender may serve; not file: and data:.
bool isRelayed(const std::string& url);

}  // namespace box
