#include "receivers/upnp/model/Subscriptions.h"

#include <algorithm>

namespace upnp {

namespace {

constexpr std::size_t kMaximum = 128;
/// A controller needs three; several may run on one host.
constexpr std::ptrdiff_t kMaximumOfHost = 32;

}  // namespace

bool Subscriptions::isAllowed(const std::string& host) {
  _removeExpired();
  const auto ofHost = std::count_if(_subscriptions.begin(), _subscriptions.end(),
                                    [&](const auto& one) { return one.second.host == host; });
  return !_isHeld && _subscriptions.size() < kMaximum && ofHost < kMaximumOfHost;
}

void Subscriptions::note(const std::string& identifier, const std::string& host,
                         Clock::Duration time) {
  _subscriptions[identifier] = {host, _clock.now() + time};
}

void Subscriptions::_removeExpired() {
  std::erase_if(_subscriptions, [this](const auto& one) { return one.second.end <= _clock.now(); });
}

}  // namespace upnp
