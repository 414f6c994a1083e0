#pragma once

namespace upnp {

/// Limits the time until a subscriber answers an event. GUPnP sends the events to a host
/// one after the other, so a controller that does not answer would get no further ones. Applies to
/// all HTTP requests of the process.
void limitEventTime();

}  // namespace upnp
