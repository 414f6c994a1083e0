#include "box/relay/EarlyPace.h"

#include <algorithm>

namespace box {
namespace {

using std::chrono::milliseconds;

/// Shorter waits are not worth waking up for.
constexpr auto kShortestWait = milliseconds(2);

}  // namespace

milliseconds EarlyPace::pass(std::size_t size, platform::TimePoint now) {
  if (!_begunAt) _begunAt = now;
  const auto elapsed = std::chrono::duration_cast<milliseconds>(now - *_begunAt);
  if (elapsed >= kEarly) return {};
  _passed += size;
  if (_passed <= kFirstBytes) return {};
  const milliseconds due((_passed - kFirstBytes) / kBytesPerMillisecond);
  // In one piece may come more than the whole time's share.
  const milliseconds wait = std::min(due, milliseconds(kEarly)) - elapsed;
  return wait < kShortestWait ? milliseconds::zero() : wait;
}

}  // namespace box
