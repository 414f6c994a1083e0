#pragma once

#include <memory>
#include <mutex>
#include <optional>

#include "streaming/choice/Throughput.h"
#include "streaming/playback/HandlerSlot.h"
#include "streaming/playback/ItemOpener.h"
#include "streaming/playback/PresentationPlayer.h"
#include "streaming/playback/StreamedItem.h"
#include "streaming/playback/TransferLog.h"
#include "streaming/transfer/TransferItem.h"

namespace streaming {

/// The throughput of previous items. Any thread.
class LastThroughput {
 public:
  std::optional<double> bitrate() const {
    const std::lock_guard lock(_mutex);
    return _bitrate;
  }
  void set(double bitrate) {
    const std::lock_guard lock(_mutex);
    _bitrate = bitrate;
  }

 private:
  mutable std::mutex _mutex;
  std::optional<double> _bitrate;
};

class OpenedItem final : public StreamedItem, public std::enable_shared_from_this<OpenedItem> {
 public:
  static std::shared_ptr<OpenedItem> make(std::shared_ptr<TransferItem> transfers,
                                          CanDecode canDecode,
                                          std::shared_ptr<LastThroughput> lastThroughput);
  ~OpenedItem() override;

  void close() override;
  void whenOpened(std::function<void(const std::optional<platform::Error>& error)> opened) override;
  Kind kind() const override;
  std::shared_ptr<ResourceReader> resource() const override;
  std::shared_ptr<PresentationPlayback> presentation() const override;
  std::optional<platform::Error> failure() const override;
  bool isBusy() const override;
  TransferStatistics statistics() const override;
  std::vector<AccessLogEntry> accessLog() const override;
  void whenAccessLogEntryStarts(std::function<void()> handler) override;
  std::vector<ErrorLogEntry> errorLog() const override;
  void requestKey(const std::string& url,
                  std::function<void(ContentResponse response)> reply) override;
  std::shared_ptr<void> loadText(const std::string& url,
                                 std::function<void(std::string bytes)> done) override;

 private:
  /// The state for the transfer thread. It exists until the tasks of close() have run.
  struct Work {
    std::shared_ptr<TransferItem> transfers;
    std::shared_ptr<TransferLog> record;
    std::shared_ptr<Throughput> throughput;
    std::shared_ptr<LastThroughput> lastThroughput;
    CanDecode canDecode;
    std::shared_ptr<ItemOpener> opening;

    void end();
    void begin(const std::shared_ptr<Work>& self);
    void opened(const std::optional<platform::Error>& error);

    HandlerSlot<const std::optional<platform::Error>&> openedHandler;
    HandlerSlot<> accessLogHandler;
    std::mutex mutex;  // guards the members below
    bool isClosed = false;
    bool isNotified = false;
    std::optional<std::optional<platform::Error>> outcome;
    std::shared_ptr<PlainResource> resource;
    std::shared_ptr<PresentationPlayer> presentation;
  };

  explicit OpenedItem(std::shared_ptr<Work> work) : _work(std::move(work)) {}
  static void _notifyOpened(Work& work);

  const std::shared_ptr<Work> _work;
};

}  // namespace streaming
