#pragma once

#include <map>
#include <string>

#include "receivers/upnp/model/Clock.h"

namespace upnp {

/// Counts the subscriptions of all services, so that their number is bounded. A subscription ends
/// with its time or when it is cancelled.
class Subscriptions {
 public:
  explicit Subscriptions(const Clock& clock) : _clock(clock) {}

  /// Returns whether a host may subscribe once more.
  bool isAllowed(const std::string& host);
  /// While it is held, no host may subscribe.
  void hold(bool isHeld) { _isHeld = isHeld; }
  /// A subscription was made or renewed.
  void note(const std::string& identifier, const std::string& host, Clock::Duration time);
  void remove(const std::string& identifier) { _subscriptions.erase(identifier); }

 private:
  struct Subscription {
    std::string host;
    Clock::Duration end;
  };

  void _removeExpired();

  const Clock& _clock;
  bool _isHeld = false;
  std::map<std::string, Subscription> _subscriptions;
};

}  // namespace upnp
