#pragma once

#include <functional>
#include <map>
#include <string>

#include "receivers/upnp/device/Action.h"
#include "receivers/upnp/model/Transport.h"

namespace upnp {

/// The actions of a service by name.
using ActionTable = std::map<std::string, std::function<void(Action&)>>;

ActionTable transportActions(Transport& transport, LastChange& changes);
ActionTable renderingActions(Rendering& rendering, LastChange& changes);
ActionTable connectionActions();

/// Runs the action of the table, or fails it.
void runAction(const ActionTable& table, Action action);

/// The formats that the box plays, as the state variable "SinkProtocolInfo".
std::string sinkProtocolInfo();

}  // namespace upnp
