#include "streaming/playback/OpenedItem.h"

#include <utility>

namespace streaming {
namespace {

constexpr std::size_t kMaxTextBytes = std::size_t{16} * 1024 * 1024;

/// A running loadText(). `fetch` is used on the transfer thread only.
struct TextLoad {
  std::shared_ptr<TransferItem> transfers;
  std::unique_ptr<BodyFetch> fetch;
  HandlerSlot<std::string> done;
};

}  // namespace

std::shared_ptr<OpenedItem> OpenedItem::make(std::shared_ptr<TransferItem> transfers,
                                             CanDecode canDecode,
                                             std::shared_ptr<LastThroughput> lastThroughput) {
  auto work = std::make_shared<Work>();
  work->transfers = std::move(transfers);
  work->record = std::make_shared<TransferLog>(
      [transfers = work->transfers] { return transfers->statistics(); });
  work->throughput = std::make_shared<Throughput>();
  if (const auto bitrate = lastThroughput->bitrate())
    work->throughput->setInitialEstimate(*bitrate);
  work->lastThroughput = std::move(lastThroughput);
  work->canDecode = std::move(canDecode);
  work->transfers->post([work] { work->begin(work); });
  return std::shared_ptr<OpenedItem>(new OpenedItem(std::move(work)));
}

OpenedItem::~OpenedItem() { close(); }

void OpenedItem::close() {
  {
    const std::lock_guard lock(_work->mutex);
    if (std::exchange(_work->isClosed, true)) return;
  }
  _work->openedHandler.set({});
  _work->accessLogHandler.set({});
  _work->transfers->post([work = _work] { work->end(); });
}

void OpenedItem::Work::end() {
  if (const auto bitrate = throughput->estimate()) lastThroughput->set(*bitrate);
  if (opening) opening->stop();
  std::shared_ptr<PresentationPlayer> played;
  {
    const std::lock_guard lock(mutex);
    played = presentation;
  }
  if (played) played->end();
  transfers->close();
}

void OpenedItem::Work::begin(const std::shared_ptr<Work>& self) {
  {
    const std::lock_guard lock(mutex);
    if (isClosed) return;
  }
  // `this` owns the opening, so the handlers need no reference.
  Work* const work = this;
  ItemOpener::Handlers handlers;
  handlers.failed = [work](const platform::Error& error) {
    work->record->addError(work->transfers->civilTime(), work->transfers->setup().url, error);
    work->opened(error);
  };
  handlers.ofResource.lost = [record = record,
                              transfers = std::weak_ptr(transfers)](const platform::Error& error) {
    if (const auto source = transfers.lock())
      record->logError(source->civilTime(), source->setup().url, error);
  };
  handlers.ofResource.failed = [record = record](const platform::Error& error) {
    record->setFailure(error);
  };
  handlers.ofResource.recovered = [record = record] { record->noteRecovery(); };
  handlers.isPlain = [work](std::shared_ptr<PlainResource> plain) {
    work->record->mediaReceived(work->transfers->now(), {}, {}, 0);
    {
      const std::lock_guard lock(work->mutex);
      work->resource = std::move(plain);
    }
    work->opened(std::nullopt);
  };
  handlers.isManifest = [work](ManifestType) {
    PresentationPlayer::Setup setup;
    setup.source = work->transfers;
    setup.record = work->record;
    setup.throughput = work->throughput;
    setup.canDecode = work->canDecode;
    setup.inheritsQuery = work->transfers->setup().inheritsQuery;
    setup.entryStarted = [work] { work->accessLogHandler.call(); };
    auto played = PresentationPlayer::make(std::move(setup));
    {
      const std::lock_guard lock(work->mutex);
      work->presentation = std::move(played);
    }
  };
  handlers.gotManifest = [work](ManifestType type, FetchResult result) {
    std::shared_ptr<PresentationPlayer> played;
    {
      const std::lock_guard lock(work->mutex);
      played = work->presentation;
    }
    if (!played) return;
    played->begin(type, std::move(result),
                  [work](const std::optional<platform::Error>& error) { work->opened(error); });
  };
  opening =
      std::make_shared<ItemOpener>(self->transfers, transfers->setup().url, std::move(handlers));
  opening->start();
}

void OpenedItem::Work::opened(const std::optional<platform::Error>& error) {
  {
    const std::lock_guard lock(mutex);
    outcome = error;
  }
  _notifyOpened(*this);
}

void OpenedItem::_notifyOpened(Work& work) {
  std::optional<platform::Error> error;
  {
    const std::lock_guard lock(work.mutex);
    if (!work.outcome || work.isClosed || !work.openedHandler.isSet()) return;
    if (std::exchange(work.isNotified, true)) return;
    error = *work.outcome;
  }
  work.openedHandler.call(error);
}

void OpenedItem::whenOpened(
    std::function<void(const std::optional<platform::Error>& error)> opened) {
  _work->openedHandler.set(std::move(opened));
  _work->transfers->post([work = _work] { _notifyOpened(*work); });
}

StreamedItem::Kind OpenedItem::kind() const {
  const std::lock_guard lock(_work->mutex);
  return _work->presentation ? Kind::Presentation : Kind::Plain;
}

std::shared_ptr<ResourceReader> OpenedItem::resource() const {
  const std::lock_guard lock(_work->mutex);
  return _work->resource;
}

std::shared_ptr<PresentationPlayback> OpenedItem::presentation() const {
  const std::lock_guard lock(_work->mutex);
  return _work->presentation;
}

std::optional<platform::Error> OpenedItem::failure() const { return _work->record->failure(); }

bool OpenedItem::isBusy() const { return _work->transfers->isBusy(); }

TransferStatistics OpenedItem::statistics() const { return _work->transfers->statistics(); }

std::vector<AccessLogEntry> OpenedItem::accessLog() const {
  return _work->record->accessLog(_work->transfers->now());
}

void OpenedItem::whenAccessLogEntryStarts(std::function<void()> handler) {
  _work->accessLogHandler.set(std::move(handler));
}

std::vector<ErrorLogEntry> OpenedItem::errorLog() const { return _work->record->errorLog(); }

void OpenedItem::requestKey(const std::string& url,
                            std::function<void(ContentResponse response)> reply) {
  _work->transfers->requestKey(url, std::move(reply));
}

std::shared_ptr<void> OpenedItem::loadText(const std::string& url,
                                           std::function<void(std::string bytes)> done) {
  auto load = std::make_shared<TextLoad>();
  load->transfers = _work->transfers;
  load->done.set(std::move(done));
  _work->transfers->post([load, url, record = _work->record] {
    if (!load->done.isSet()) return;
    TextLoad* const loading = load.get();
    load->fetch = std::make_unique<BodyFetch>(
        *load->transfers, TransferRequest{url, TransferKind::Text, {}, false}, kMaxTextBytes,
        [loading, url, record](FetchResult result) {
          if (const auto* error = std::get_if<platform::Error>(&result))
            record->addError(loading->transfers->civilTime(), url, *error);
          const auto ended = std::move(loading->fetch);
          auto* body = std::get_if<FetchedBody>(&result);
          loading->done.call(body ? std::move(body->bytes) : std::string());
        });
  });
  // Destroy the fetch on the transfer thread.
  return {load.get(), [load](void*) {
            load->done.set({});
            load->transfers->post([load] { load->fetch.reset(); });
          }};
}

}  // namespace streaming
