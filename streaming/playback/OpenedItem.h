#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "streaming/choice/Throughput.h"
#include "streaming/playback/HandlerSlot.h"
#include "streaming/playback/ItemOpening.h"
#include "streaming/playback/PlayedPresentation.h"
#include "streaming/playback/StreamedItem.h"
#include "streaming/playback/TransferRecord.h"
#include "streaming/transfer/TransferItem.h"

namespace streaming {

/// The throughput of previous items. Any thread.
class RememberedThroughput {
 public:
  std::optional<double> bitrate() const {
    const std::lock_guard lock(_mutex);
    return _bitrate;
  }
  void remember(double bitrate) {
    const std::lock_guard lock(_mutex);
    _bitrate = bitrate;
  }

 private:
  mutable std::mutex _mutex;
  std::optional<double> _bitrate;
};

/// A StreamedItem and its state on the transfer thread.
class OpenedItem final : public StreamedItem, public std::enable_shared_from_this<OpenedItem> {
 public:
  static std::shared_ptr<OpenedItem> make(std::shared_ptr<TransferItem> transfers,
                                          CanDecode canDecode,
                                          std::shared_ptr<RememberedThroughput> remembered);
  ~OpenedItem() override;

  void close() override;
  void whenOpened(std::function<void(const std::optional<platform::Error>& error)> opened) override;
  Form form() const override;
  std::shared_ptr<ResourceReader> resource() const override;
  std::shared_ptr<PresentationPlayback> presentation() const override;
  std::optional<platform::Error> failure() const override;
  bool isBusy() const override;
  TransferStatistics statistics() const override;
  std::vector<TransferLeg> legs() const override;
  void whenLegBegins(std::function<void()> handler) override;
  std::vector<TransferFault> faults() const override;
  void askForKey(const std::string& url, std::function<void(ContentAnswer answer)> reply) override;
  std::shared_ptr<void> loadText(const std::string& url,
                                 std::function<void(std::string bytes)> done) override;

 private:
  /// The state for the transfer thread. It exists until the tasks of close() have run.
  struct Work {
    std::shared_ptr<TransferItem> transfers;
    std::shared_ptr<TransferRecord> record;
    std::shared_ptr<Throughput> throughput;
    std::shared_ptr<RememberedThroughput> remembered;
    CanDecode canDecode;
    std::shared_ptr<ItemOpening> opening;

    void end();
    void begin(const std::shared_ptr<Work>& self);
    void opened(const std::optional<platform::Error>& error);

    HandlerSlot<const std::optional<platform::Error>&> openedHandler;
    HandlerSlot<> legHandler;
    std::mutex mutex;  // guards the members below
    bool isClosed = false;
    bool isTold = false;
    std::optional<std::optional<platform::Error>> outcome;
    std::shared_ptr<PlainResource> resource;
    std::shared_ptr<PlayedPresentation> presentation;
  };

  explicit OpenedItem(std::shared_ptr<Work> work) : _work(std::move(work)) {}
  static void _tell(Work& work);

  const std::shared_ptr<Work> _work;
};

}  // namespace streaming
