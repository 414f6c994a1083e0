#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <libsoup/soup.h>

#include "receivers/upnp/device/Glib.h"

namespace upnp {

/// Fetches the cover of an item, for the box, which takes pictures as data.
class ArtLoader {
 public:
  struct Art {
    std::vector<std::uint8_t> data;
    std::string mimeType;
  };

  ArtLoader();
  ArtLoader(const ArtLoader&) = delete;
  ArtLoader& operator=(const ArtLoader&) = delete;
  ~ArtLoader() { cancel(); }

  /// None if there is no picture, or one of more than 2 MiB.
  using Done = std::function<void(const std::optional<Art>&)>;

  /// Cancels an earlier fetch. `done` is not called for a fetch that was cancelled.
  void load(const std::string& uri, Done done);
  void cancel();

 private:
  struct Fetch;

  static void _sent(GObject* session, GAsyncResult* result, gpointer data);
  static void _read(GObject* stream, GAsyncResult* result, gpointer data);

  const ObjectRef<SoupSession> _session;
  ObjectRef<GCancellable> _cancellable;
};

}  // namespace upnp
