#pragma once

#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// Adds the events of the EventStream elements of a period. Their number and size are limited.
void addPeriodEvents(pugi::xml_node period, double periodStart,
                     std::vector<PresentationEvent>& events);

}  // namespace streaming
