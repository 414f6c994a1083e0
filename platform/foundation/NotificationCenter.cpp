#include "platform/foundation/NotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace platform {

struct NotificationCenter::Impl {
  struct Observer {
    const Object* sender;
    Callback callback;
    std::atomic<bool> dropped = false;

    Observer(const Object* theSender, Callback theCallback)
        : sender(theSender), callback(std::move(theCallback)) {}
  };
  using Observers = std::vector<std::shared_ptr<Observer>>;

  std::mutex mutex;
  std::map<std::string, Observers, std::less<>> observers;

  void remove(const std::string& name, const std::shared_ptr<Observer>& observer) {
    observer->dropped = true;
    const std::lock_guard lock(mutex);
    const auto found = observers.find(name);
    if (found == observers.end()) return;
    std::erase(found->second, observer);
    if (found->second.empty()) observers.erase(found);
  }
};

NotificationCenter::NotificationCenter() : _impl(std::make_shared<Impl>()) {}
NotificationCenter::~NotificationCenter() = default;

Token NotificationCenter::addObserver(std::string_view name, const Object* sender,
                                      Callback callback) {
  auto observer = std::make_shared<Impl::Observer>(sender, std::move(callback));
  {
    const std::lock_guard lock(_impl->mutex);
    _impl->observers[std::string(name)].push_back(observer);
  }
  return Token(
      [center = std::weak_ptr(_impl), key = std::string(name), weak = std::weak_ptr(observer)] {
        const auto impl = center.lock();
        const auto dropped = weak.lock();
        if (impl && dropped) impl->remove(key, dropped);
      });
}

void NotificationCenter::post(std::string_view name, const Object* sender, Dictionary userInfo) {
  Impl::Observers observers;
  {
    const std::lock_guard lock(_impl->mutex);
    const auto found = _impl->observers.find(name);
    if (found == _impl->observers.end()) return;
    observers = found->second;
  }
  const Notification notification{std::string(name), sender, std::move(userInfo)};
  for (const auto& observer : observers) {
    if (observer->dropped || (observer->sender && observer->sender != sender)) continue;
    observer->callback(notification);
  }
}

}  // namespace platform
