#include "receivers/upnp/device/ArtLoader.h"

#include <memory>
#include <utility>

namespace upnp {

namespace {

constexpr std::size_t kMaximumArtBytes = std::size_t{2} << 20;
constexpr guint kArtTimeoutSeconds = 10;

}  // namespace

/// The state of a fetch. It owns itself until its last callback.
struct ArtLoader::Fetch {
  Done done;
  ObjectRef<GCancellable> cancellable;
  ObjectRef<SoupMessage> message;
  Art art;
};

ArtLoader::ArtLoader()
    : _session(soup_session_new_with_options("timeout", kArtTimeoutSeconds, nullptr)) {}

void ArtLoader::load(const std::string& uri, Done done) {
  cancel();
  ObjectRef<SoupMessage> message(soup_message_new("GET", uri.c_str()));
  if (!message) return done(std::nullopt);
  _cancellable.reset(g_cancellable_new());
  SoupMessage* const sent = message.get();
  auto fetch = std::make_unique<Fetch>(
      Fetch{std::move(done),
            ObjectRef<GCancellable>(G_CANCELLABLE(g_object_ref(_cancellable.get()))),
            std::move(message),
            {}});
  soup_session_send_async(_session.get(), sent, G_PRIORITY_DEFAULT, _cancellable.get(), _sent,
                          fetch.release());
}

void ArtLoader::cancel() {
  if (_cancellable) g_cancellable_cancel(_cancellable.get());
  _cancellable.reset();
}

void ArtLoader::_sent(GObject* session, GAsyncResult* result, gpointer data) {
  std::unique_ptr<Fetch> fetch(static_cast<Fetch*>(data));
  const ObjectRef<GInputStream> stream(
      soup_session_send_finish(SOUP_SESSION(session), result, nullptr));
  GCancellable* const cancellable = fetch->cancellable.get();
  if (g_cancellable_is_cancelled(cancellable)) return;
  SoupMessage* const message = fetch->message.get();
  fetch->art.mimeType = textOf(
      soup_message_headers_get_content_type(soup_message_get_response_headers(message), nullptr));
  const bool isFound = stream && soup_message_get_status(message) == SOUP_STATUS_OK;
  if (!isFound || !fetch->art.mimeType.starts_with("image/")) return fetch->done(std::nullopt);
  // One byte more than is allowed shows that there are more.
  fetch->art.data.resize(kMaximumArtBytes + 1);
  std::uint8_t* const buffer = fetch->art.data.data();
  g_input_stream_read_all_async(stream.get(), buffer, kMaximumArtBytes + 1, G_PRIORITY_DEFAULT,
                                cancellable, _read, fetch.release());
}

void ArtLoader::_read(GObject* stream, GAsyncResult* result, gpointer data) {
  const std::unique_ptr<Fetch> fetch(static_cast<Fetch*>(data));
  gsize size = 0;
  const bool isRead =
      g_input_stream_read_all_finish(G_INPUT_STREAM(stream), result, &size, nullptr) != FALSE;
  if (g_cancellable_is_cancelled(fetch->cancellable.get())) return;
  if (!isRead || size == 0 || size > kMaximumArtBytes) return fetch->done(std::nullopt);
  fetch->art.data.resize(size);
  fetch->done(fetch->art);
}

}  // namespace upnp
