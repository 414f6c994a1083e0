#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/foundation/Bytes.h"
#include "streaming/transfer/TransferService.h"
#include "tests/streaming/transfer/ScriptedServer.h"

namespace streaming {

inline std::shared_ptr<const platform::Bytes> sharedBytes(const std::string& text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return std::make_shared<const platform::Bytes>(begin, begin + text.size());
}

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

/// A server and a transfer service.
class TransferItemTest : public testing::Test {
 protected:
  std::shared_ptr<TransferItem> open(const std::string& path) {
    ItemSetup setup;
    setup.url = server.url(path);
    return service->open(setup);
  }

  ScriptedServer server;
  std::shared_ptr<TransferService> service = TransferService::make();
};

}  // namespace streaming
