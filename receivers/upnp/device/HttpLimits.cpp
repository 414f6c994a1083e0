#include "receivers/upnp/device/HttpLimits.h"

#include <string_view>

#include "receivers/upnp/device/Log.h"
#include "receivers/upnp/device/SubscriptionHeaders.h"

namespace upnp {

namespace {

/// Metadata may have 256 KiB, and is escaped.
constexpr goffset kMaximumBody = goffset{1} << 20;
constexpr const char* kReceivedBytes = "upnp-received-bytes";

std::string_view methodOf(SoupServerMessage* message) {
  const char* const method = soup_server_message_get_method(message);
  return method ? method : "";
}

std::string headerOf(SoupMessageHeaders* headers, const char* name) {
  return textOf(soup_message_headers_get_one(headers, name));
}

void refuse(SoupServerMessage* message, guint status, const char* reason) {
  log("Refused " + std::string(methodOf(message)) + " of " +
      textOf(soup_server_message_get_remote_host(message)) + ": " + reason);
  soup_server_message_set_status(message, status, nullptr);
  soup_message_headers_replace(soup_server_message_get_response_headers(message), "Connection",
                               "close");
  // What still arrives is dropped.
  soup_message_body_set_accumulate(soup_server_message_get_request_body(message), FALSE);
}

}  // namespace

HttpLimits::HttpLimits(SoupServer* server, Clock& clock, Subscriptions& subscriptions)
    : _server(SOUP_SERVER(g_object_ref(server))), _subscriptions(subscriptions), _sockets(clock) {
  g_signal_connect(server, "request-started", G_CALLBACK(_started), this);
}

HttpLimits::~HttpLimits() { g_signal_handlers_disconnect_by_data(_server.get(), this); }

void HttpLimits::_started(SoupServer*, SoupServerMessage* message, gpointer data) {
  auto& self = *static_cast<HttpLimits*>(data);
  self._connections.note(message);
  self._sockets.note(message);
  // The messages may outlive the limits, not the subscriptions.
  g_signal_connect(message, "got-headers", G_CALLBACK(_gotHeaders), &self._subscriptions);
  g_signal_connect(message, "got-chunk", G_CALLBACK(_gotChunk), nullptr);
  g_signal_connect(message, "wrote-headers", G_CALLBACK(_wroteHeaders), &self._subscriptions);
}

void HttpLimits::_gotHeaders(SoupServerMessage* message, gpointer data) {
  SoupMessageHeaders* const headers = soup_server_message_get_request_headers(message);
  // libsoup closes the connection then, but does not say so, and some clients use it again.
  if (soup_message_headers_header_contains(headers, "Connection", "close")) {
    soup_message_headers_replace(soup_server_message_get_response_headers(message), "Connection",
                                 "close");
  }
  if (soup_message_headers_get_content_length(headers) > kMaximumBody) {
    refuse(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "the body is too long");
    return;
  }
  if (methodOf(message) != "SUBSCRIBE" || !headerOf(headers, "SID").empty()) return;
  const std::string host = textOf(soup_server_message_get_remote_host(message));
  if (!areCallbacksOf(headerOf(headers, "CALLBACK"), host)) {
    refuse(message, SOUP_STATUS_PRECONDITION_FAILED, "events go to the subscriber only");
  } else if (!static_cast<Subscriptions*>(data)->isAllowed(host)) {
    refuse(message, SOUP_STATUS_SERVICE_UNAVAILABLE, "too many subscriptions");
  }
}

void HttpLimits::_gotChunk(SoupServerMessage* message, GBytes* chunk, gpointer) {
  const auto before = GPOINTER_TO_SIZE(g_object_get_data(G_OBJECT(message), kReceivedBytes));
  const std::size_t received = before + g_bytes_get_size(chunk);
  g_object_set_data(G_OBJECT(message), kReceivedBytes, GSIZE_TO_POINTER(received));
  const auto limit = static_cast<std::size_t>(kMaximumBody);
  if (received > limit && before <= limit) {
    refuse(message, SOUP_STATUS_REQUEST_ENTITY_TOO_LARGE, "the body is too long");
  }
}

void HttpLimits::_wroteHeaders(SoupServerMessage* message, gpointer data) {
  auto& subscriptions = *static_cast<Subscriptions*>(data);
  if (soup_server_message_get_status(message) != SOUP_STATUS_OK) return;
  SoupMessageHeaders* const request = soup_server_message_get_request_headers(message);
  SoupMessageHeaders* const response = soup_server_message_get_response_headers(message);
  if (methodOf(message) == "UNSUBSCRIBE") subscriptions.remove(headerOf(request, "SID"));
  if (methodOf(message) != "SUBSCRIBE") return;
  subscriptions.note(headerOf(response, "SID"),
                     textOf(soup_server_message_get_remote_host(message)),
                     subscriptionTimeOf(headerOf(response, "TIMEOUT")));
}

}  // namespace upnp
