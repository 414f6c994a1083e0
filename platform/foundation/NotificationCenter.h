#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Token.h"

namespace platform {

class Object;

struct Notification {
  std::string name;
  const Object* sender = nullptr;  ///< for comparison only; may dangle
  Dictionary userInfo;
};

/// Notifications inside the process, matched by name and optionally by sender.
///
/// post() calls the observers synchronously, in order of registration, without a lock held. An
/// observer that is added during a post is not called for that post. An observer that is removed
/// during a post is not called afterwards.
///
/// Threads: addObserver() and post() from any thread. Destroy a token on the thread that posts.
class NotificationCenter {
 public:
  using Callback = std::function<void(const Notification&)>;

  NotificationCenter();
  ~NotificationCenter();

  /// A null `sender` matches every sender.
  Token addObserver(std::string_view name, const Object* sender, Callback callback);
  void post(std::string_view name, const Object* sender = nullptr, Dictionary userInfo = {});

 private:
  struct Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace platform
