#pragma once

#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "streaming/transfer/TransferItem.h"

namespace streaming {

/// The result of a transfer.
struct Outcome {
  std::optional<ResponseHead> head;
  std::string body;
  std::optional<platform::Error> error;

  std::optional<std::int64_t> code() const {
    return error ? std::optional(error->code) : std::nullopt;
  }
};

/// Runs one transfer of an item.
class ObservedTransfer final : public TransferObserver,
                               public std::enable_shared_from_this<ObservedTransfer> {
 public:
  static std::shared_ptr<ObservedTransfer> start(TransferItem& item, TransferRequest request,
                                                 BodyFlow flow = BodyFlow::More) {
    auto observed = std::make_shared<ObservedTransfer>();
    observed->_flow = flow;
    item.post([self = observed, &item, request = std::move(request)] {
      self->_transfer = item.start(request, *self);
      self->_hasStarted = true;
    });
    return observed;
  }
  /// Any thread. Call it before the item is closed.
  void cancel(TransferItem& item) {
    std::promise<void> done;
    item.post([&] {
      _transfer.reset();
      done.set_value();
    });
    done.get_future().wait();
  }
  void resume(TransferItem& item) {
    item.post([self = shared_from_this()] {
      self->_flow = BodyFlow::More;
      if (self->_transfer) self->_transfer->resume();
    });
  }
  Outcome wait() {
    _ended.get_future().wait();
    return outcome;
  }
  void waitForHead() { _hasHead.get_future().wait(); }

  Outcome outcome;  // transfer thread only until the end

 private:
  BodyFlow transferGotHead(const ResponseHead& head) override {
    _isEarly = _isEarly || !_hasStarted;
    outcome.head = head;
    _hasHead.set_value();
    return _flow;
  }
  BodyFlow transferGotBytes(std::string_view bytes) override {
    outcome.body += bytes;
    return _flow;
  }
  void transferEnded(const std::optional<platform::Error>& error) override {
    outcome.error = error;
    if (_isEarly) outcome.error = platform::Error{"called before start() returned", 0, {}, {}, {}};
    // A transfer may be destroyed in transferEnded().
    _transfer.reset();
    _ended.set_value();
  }

  std::unique_ptr<Transfer> _transfer;
  BodyFlow _flow = BodyFlow::More;
  bool _hasStarted = false;
  bool _isEarly = false;
  std::promise<void> _hasHead;
  std::promise<void> _ended;
};

inline Outcome fetch(TransferItem& item, TransferRequest request) {
  return ObservedTransfer::start(item, std::move(request))->wait();
}

inline Outcome fetch(TransferItem& item, const std::string& url,
                     std::optional<ByteSpan> span = {}) {
  return fetch(item, {url, TransferKind::Media, span, false});
}

}  // namespace streaming
