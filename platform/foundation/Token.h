#pragma once

#include <functional>
#include <utility>

namespace platform {

/// The subscription of a timer, an observer or a callback. Destroying it cancels the subscription.
/// detach() keeps the subscription and empties the token.
///
/// Threads: destroy a token on the thread that runs its callback. Then no call follows the
/// destruction.
class [[nodiscard]] Token {
 public:
  Token() = default;
  explicit Token(std::function<void()> cancel) : _cancel(std::move(cancel)) {}
  Token(Token&& other) noexcept : _cancel(std::exchange(other._cancel, nullptr)) {}
  Token& operator=(Token&& other) noexcept {
    if (this != &other) {
      reset();
      _cancel = std::exchange(other._cancel, nullptr);
    }
    return *this;
  }
  ~Token() { reset(); }

  void reset() {
    if (auto cancel = std::exchange(_cancel, nullptr)) cancel();
  }
  void detach() { _cancel = nullptr; }
  explicit operator bool() const { return static_cast<bool>(_cancel); }

 private:
  std::function<void()> _cancel;
};

}  // namespace platform
