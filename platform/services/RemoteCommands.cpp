#include "platform/services/RemoteCommands.h"

namespace platform {

Token RemoteCommandTargets::add(RemoteCommandTarget& target) {
  _targets->push_back(&target);
  return Token([weak = std::weak_ptr(_targets), gone = &target] {
    if (const auto targets = weak.lock()) std::erase(*targets, gone);
  });
}

}  // namespace platform
