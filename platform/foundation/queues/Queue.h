#pragma once

#include "platform/foundation/queues/MainQueue.h"    // IWYU pragma: export
#include "platform/foundation/queues/SerialQueue.h"  // IWYU pragma: export
#include "platform/foundation/queues/WaitGroup.h"    // IWYU pragma: export
#include "platform/foundation/queues/Waiter.h"       // IWYU pragma: export
