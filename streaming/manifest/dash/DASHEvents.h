#pragma once

#include <vector>

#include "streaming/manifest/Presentation.h"
#include "streaming/manifest/dash/XMLTree.h"

namespace streaming {

/// Adds the events of a period's EventStream elements; bounded in number and bytes.
void addPeriodEvents(pugi::xml_node period, double periodStart,
                     std::vector<PresentationEvent>& events);

}  // namespace streaming
