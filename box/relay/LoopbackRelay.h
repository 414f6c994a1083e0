#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "box/relay/Relay.h"
#include "box/relay/RelayBounds.h"
#include "box/relay/RelayServer.h"
#include "box/relay/RelayThread.h"

namespace box {

/// Threads: any.
class LoopbackRelay final : public Relay {
 public:
  LoopbackRelay(RelayOptions options, RelayBounds bounds);
  ~LoopbackRelay() override;

  std::shared_ptr<RelayItem> open(RelayItemSetup setup,
                                  std::optional<platform::Error>* error) override;
  void warmUp() override;

 private:
  /// What the thread has, and an item's handle needs.
  struct Core {
    std::shared_ptr<RelayThread> thread = std::make_shared<RelayThread>();
    std::shared_ptr<ItemTable> items = std::make_shared<ItemTable>();
    std::unique_ptr<RelayServer> server;  // the thread's
  };
  class Item;

  bool _start();

  const RelayOptions _options;
  const RelayBounds _bounds;
  const std::shared_ptr<Core> _core = std::make_shared<Core>();
  std::mutex _mutex;  // guards _port
  std::optional<std::uint16_t> _port;
};

}  // namespace box
