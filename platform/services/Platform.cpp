#include "platform/services/Platform.h"

#include <algorithm>
#include <atomic>

#include "platform/foundation/Assertion.h"

namespace platform {

namespace {
std::atomic<Platform*> currentPlatform = nullptr;
}  // namespace

Platform::Platform() = default;

Platform::~Platform() {
  releaseSharedInstances();
  Platform* self = this;
  currentPlatform.compare_exchange_strong(self, nullptr);
}

Platform& Platform::current() {
  auto* found = currentPlatform.load();
  TVS_ASSERT_MESSAGE(found, "no platform is installed");
  return *found;
}

void Platform::setCurrent(Platform* platform) {
  auto* leaving = currentPlatform.load();
  if (leaving == platform) return;
  if (leaving) leaving->releaseSharedInstances();
  currentPlatform.store(platform);
}

void Platform::releaseSharedInstances() {
  // Newest first, because an instance may use older ones. A destructor may create another instance,
  // hence the loop.
  for (;;) {
    std::shared_ptr<void> released;  // destroyed after the unlock
    const std::lock_guard lock(_instancesMutex);
    if (_instances.empty()) return;
    released = std::move(_instances.back().second);
    _instances.pop_back();
  }
}

std::shared_ptr<void> Platform::_find(std::type_index type) const {
  const auto found = std::find_if(_instances.begin(), _instances.end(),
                                  [&](const auto& instance) { return instance.first == type; });
  return found == _instances.end() ? nullptr : found->second;
}

void Platform::_store(std::type_index type, std::shared_ptr<void> instance) {
  _instances.emplace_back(type, std::move(instance));
}

}  // namespace platform
