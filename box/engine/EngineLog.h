#pragma once

#include "media/link/EngineMessages.h"
#include "platform/foundation/Dictionary.h"

namespace box {

// Log the messages of a link with the component TVVLMedia. Messages that are sent periodically are
// not logged.
void logCommand(const media::EngineCommand& command);
void logEvent(const media::EngineEvent& event);
/// Logs the transfers if they have changed between two access logs.
void logTransfers(const platform::Array& previous, const platform::Array& current);

}  // namespace box
