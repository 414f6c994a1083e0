#pragma once

namespace upnp {

/// Limits the requests that deliver events to subscribers, in all HTTP sessions of the process.
///
/// - The time until the answer: GUPnP sends the events to a host one after the other, so a
///   controller that does not answer would get no further ones.
/// - Redirections are not followed: a subscriber could make the renderer request any URL.
void limitEventRequests();

}  // namespace upnp
