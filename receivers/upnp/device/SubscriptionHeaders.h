#pragma once

#include <string>

#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// Reads the header "CALLBACK", such as "<http://a/x><http://b/y>". Returns whether it has URLs and
/// all are of `host`, the subscriber itself.
bool areCallbacksOf(const std::string& callbacks, const std::string& host);

/// Reads the header "TIMEOUT": "Second-300" is 300 s. Other texts are a day, the longest time.
Clock::Duration subscriptionTimeOf(const std::string& timeout);

}  // namespace upnp
