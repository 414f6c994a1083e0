#pragma once

#include <functional>
#include <utility>

namespace platform {

/// Identity of a timer, an observer or a callback: whoever holds it is subscribed, and destroying
/// it unsubscribes. detach() gives the hold up without unsubscribing.
///
/// Threads: a token is dropped on the thread on which its callback runs, so that after the drop no
/// call comes any more.
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
