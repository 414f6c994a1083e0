#pragma once

// Everything that runs tasks or waits for them.
#include "platform/foundation/MainQueue.h"    // IWYU pragma: export
#include "platform/foundation/SerialQueue.h"  // IWYU pragma: export
#include "platform/foundation/WaitGroup.h"    // IWYU pragma: export
#include "platform/foundation/Waiter.h"       // IWYU pragma: export
