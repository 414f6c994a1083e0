#include "streaming/playback/OpenedItem.h"

#include <utility>

namespace streaming {
namespace {

constexpr std::size_t kMostTextBytes = std::size_t{16} * 1024 * 1024;

/// A running loadText(). `fetch` is used on the transfer thread only.
struct TextLoad {
  std::shared_ptr<TransferItem> transfers;
  std::unique_ptr<BodyFetch> fetch;
  HandlerSlot<std::string> done;
};

}  // namespace

std::shared_ptr<OpenedItem> OpenedItem::make(std::shared_ptr<TransferItem> transfers,
                                             CanDecode canDecode,
                                             std::shared_ptr<RememberedThroughput> remembered) {
  auto work = std::make_shared<Work>();
  work->transfers = std::move(transfers);
  work->record = std::make_shared<TransferRecord>(
      [transfers = work->transfers] { return transfers->statistics(); });
  work->throughput = std::make_shared<Throughput>();
  if (const auto bitrate = remembered->bitrate()) work->throughput->remember(*bitrate);
  work->remembered = std::move(remembered);
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
  _work->legHandler.set({});
  _work->transfers->post([work = _work] { work->end(); });
}

void OpenedItem::Work::end() {
  if (const auto bitrate = throughput->estimate()) remembered->remember(*bitrate);
  if (opening) opening->stop();
  std::shared_ptr<PlayedPresentation> played;
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
  ItemOpening::Handlers handlers;
  handlers.failed = [work](const platform::Error& error) {
    work->record->addFault(work->transfers->civilTime(), work->transfers->setup().url, error);
    work->opened(error);
  };
  handlers.ofResource.lost = [record = record,
                              transfers = std::weak_ptr(transfers)](const platform::Error& error) {
    if (const auto source = transfers.lock())
      record->logFault(source->civilTime(), source->setup().url, error);
  };
  handlers.ofResource.failed = [record = record](const platform::Error& error) {
    record->setFailure(error);
  };
  handlers.ofResource.recovered = [record = record] { record->otherMediaCame(); };
  handlers.isPlain = [work](std::shared_ptr<PlainResource> plain) {
    work->record->mediaCame(work->transfers->now(), {}, {}, 0);
    {
      const std::lock_guard lock(work->mutex);
      work->resource = std::move(plain);
    }
    work->opened(std::nullopt);
  };
  handlers.isManifest = [work](ManifestForm) {
    PlayedPresentation::Setup setup;
    setup.source = work->transfers;
    setup.record = work->record;
    setup.throughput = work->throughput;
    setup.canDecode = work->canDecode;
    setup.inheritsQuery = work->transfers->setup().inheritsQuery;
    setup.legBegan = [work] { work->legHandler.call(); };
    auto played = PlayedPresentation::make(std::move(setup));
    {
      const std::lock_guard lock(work->mutex);
      work->presentation = std::move(played);
    }
  };
  handlers.gotManifest = [work](ManifestForm form, FetchResult result) {
    std::shared_ptr<PlayedPresentation> played;
    {
      const std::lock_guard lock(work->mutex);
      played = work->presentation;
    }
    if (!played) return;
    played->begin(form, std::move(result),
                  [work](const std::optional<platform::Error>& error) { work->opened(error); });
  };
  opening =
      std::make_shared<ItemOpening>(self->transfers, transfers->setup().url, std::move(handlers));
  opening->start();
}

void OpenedItem::Work::opened(const std::optional<platform::Error>& error) {
  {
    const std::lock_guard lock(mutex);
    outcome = error;
  }
  _tell(*this);
}

void OpenedItem::_tell(Work& work) {
  std::optional<platform::Error> error;
  {
    const std::lock_guard lock(work.mutex);
    if (!work.outcome || work.isClosed || !work.openedHandler.isSet()) return;
    if (std::exchange(work.isTold, true)) return;
    error = *work.outcome;
  }
  work.openedHandler.call(error);
}

void OpenedItem::whenOpened(
    std::function<void(const std::optional<platform::Error>& error)> opened) {
  _work->openedHandler.set(std::move(opened));
  _work->transfers->post([work = _work] { _tell(*work); });
}

StreamedItem::Form OpenedItem::form() const {
  const std::lock_guard lock(_work->mutex);
  return _work->presentation ? Form::Presentation : Form::Plain;
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

std::vector<TransferLeg> OpenedItem::legs() const {
  return _work->record->legs(_work->transfers->now());
}

void OpenedItem::whenLegBegins(std::function<void()> handler) {
  _work->legHandler.set(std::move(handler));
}

std::vector<TransferFault> OpenedItem::faults() const { return _work->record->faults(); }

void OpenedItem::askForKey(const std::string& url,
                           std::function<void(ContentAnswer answer)> reply) {
  _work->transfers->askForKey(url, std::move(reply));
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
        *load->transfers, TransferRequest{url, TransferKind::Text, {}, false}, kMostTextBytes,
        [loading, url, record](FetchResult result) {
          if (const auto* error = std::get_if<platform::Error>(&result))
            record->addFault(loading->transfers->civilTime(), url, *error);
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
