#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/foundation/Token.h"
#include "platform/foundation/Value.h"

namespace platform {

class Object;

struct Notification {
  std::string name;
  const Object* sender = nullptr;  ///< identity only
  Dictionary userInfo;
};

/// Loose coupling inside the process: observers by name and, if wanted, by sender.
///
/// Observers run on the posting thread, in order of registration, before post() returns, and
/// without a lock held; one that was registered during a post does not see it, one that was dropped
/// during it does not hear it any more. Threads: registration and posts from any thread; drop a
/// token on the thread that posts.
class NotificationCenter {
 public:
  using Callback = std::function<void(const Notification&)>;

  NotificationCenter();
  ~NotificationCenter();

  /// `sender` null: from any sender.
  Token addObserver(std::string_view name, const Object* sender, Callback callback);
  void post(std::string_view name, const Object* sender = nullptr, Dictionary userInfo = {});

 private:
  struct Impl;
  std::shared_ptr<Impl> _impl;
};

}  // namespace platform
