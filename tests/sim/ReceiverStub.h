#pragma once

#include <memory>

#include "platform/services/Platform.h"
#include "tests/sim/RecordingReceiver.h"

/// A receiver delegate that registers itself. Its start-video call runs the given body on the main
/// thread.
class ReceiverStub final : public RecordingReceiver {
 public:
  using Body = std::function<void(platform::WaitGroup&)>;

  static std::shared_ptr<ReceiverStub> make() {
    auto stub = std::make_shared<ReceiverStub>();
    platform::Platform::current().receiverServiceClient().setDelegate(stub, stub->queue);
    return stub;
  }

  /// `body` may enter the group. The call returns after the group was left.
  void setBody(Body body) { _body = std::move(body); }
  void post(std::string name, platform::Dictionary info = {}) {
    queue->async([name = std::move(name), info = std::move(info)] {
      platform::Platform::current().receiverServiceClient().postEvent(name.c_str(), info);
    });
  }

  Status vorlaneUIStartVideo(const platform::Dictionary&, platform::Dictionary*) override {
    platform::WaitGroup group;
    const bool ran = platform::Platform::current().mainQueue().sync([&] {
      if (_body) _body(group);
    });
    group.wait();
    return ran ? 0 : -1;
  }

  const std::shared_ptr<platform::SerialQueue> queue =
      std::make_shared<platform::SerialQueue>("test.receiver");

 private:
  Body _body;
};
