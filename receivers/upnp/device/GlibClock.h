#pragma once

#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// Timers of the default main context.
class GlibClock final : public Clock {
 public:
  Duration now() const override;
  Timer after(Duration delay, std::function<void()> task) override;
};

}  // namespace upnp
