#include <utility>

#include "streaming/playback/OpenedItem.h"
#include "streaming/playback/StreamedItem.h"
#include "streaming/transfer/TransferService.h"

namespace streaming {
namespace {

class StreamingService final : public Streaming {
 public:
  explicit StreamingService(StreamingOptions options)
      : _transfers(TransferService::make(std::move(options.cacheFolder), options.limits)) {}

  std::shared_ptr<StreamedItem> open(ItemSetup setup, CanDecode canDecode) override {
    return OpenedItem::make(_transfers->open(std::move(setup)), std::move(canDecode),
                            _lastThroughput);
  }
  void warmUp() override { _transfers->warmUp(); }

 private:
  const std::shared_ptr<TransferService> _transfers;
  const std::shared_ptr<LastThroughput> _lastThroughput = std::make_shared<LastThroughput>();
};

}  // namespace

std::shared_ptr<Streaming> Streaming::make(StreamingOptions options) {
  return std::make_shared<StreamingService>(std::move(options));
}

}  // namespace streaming
