#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

#include "platform/foundation/Assertion.h"

namespace sim {

/// A call on the thread of the receiver queue, independent of its result type. Used by Runner and
/// ReceiverCall only.
///
/// `body` runs once. An exception is stored for the main thread.
struct ReceiverCallState {
  virtual ~ReceiverCallState() = default;

  void run() {
    try {
      body();
    } catch (...) {
      exception = std::current_exception();
    }
    finished.store(true, std::memory_order_release);
  }

  std::function<void()> body;
  std::exception_ptr exception;
  std::atomic<bool> finished = false;
};

/// A receiver call in progress. Main thread.
template <typename Result>
class ReceiverCall {
 public:
  /// Whether the call has returned or thrown.
  bool done() const { return _state->finished.load(std::memory_order_acquire); }
  /// Returns the result of the call or rethrows its exception. Asserts done().
  Result result() const {
    TVS_ASSERT_MESSAGE(done(), "the receiver call has not returned yet");
    if (_state->exception) std::rethrow_exception(_state->exception);
    if constexpr (!std::is_void_v<Result>) return *_state->value;
  }

 private:
  friend class Box;
  struct State final : ReceiverCallState {
    std::optional<std::conditional_t<std::is_void_v<Result>, std::monostate, Result>> value;
  };

  explicit ReceiverCall(std::function<Result()> function) : _state(std::make_shared<State>()) {
    _state->body = [state = _state.get(), function = std::move(function)] {
      if constexpr (std::is_void_v<Result>) {
        function();
      } else {
        state->value.emplace(function());
      }
    };
  }

  std::shared_ptr<State> _state;
};

}  // namespace sim
