#pragma once

#include <string>
#include <vector>

#include "tests/random/EventRules.h"
#include "tests/scenarios/ScenarioBox.h"

namespace random_sessions {

/// The registered sessions, oldest first.
using Registry = std::vector<std::shared_ptr<EventRules>>;

/// What a receiver call has to do, derived from the sessions that are registered when it is made.
struct CallRule {
  /// The allowed statuses. Empty: any.
  std::vector<std::int32_t> statuses;
  /// The session that is gone afterwards.
  std::shared_ptr<EventRules> ends;
  /// If the call succeeds, a session of this type and with this number is registered afterwards.
  std::optional<std::int64_t> starts;
  std::optional<std::uint32_t> number;
  /// A screen that does not open fails the call.
  bool needsScreen = false;
};

CallRule ruleOf(const scenarios::Call& call, const Registry& registry);

/// The session that an action of a call addresses. Null if there is none.
std::shared_ptr<EventRules> addressedURLSession(const scenarios::Call& call,
                                                const Registry& registry);

}  // namespace random_sessions
