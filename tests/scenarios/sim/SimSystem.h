#pragma once

#include <string>
#include <vector>

#include "sim/Box.h"

/// Does what the words of a `system` step say: an event of the device, or a service that fails from
/// now on. tests/scenarios/README.md lists the words. Throws scenarios::Failure for other words.
void simulateSystem(sim::Box& box, const std::vector<std::string>& words);
