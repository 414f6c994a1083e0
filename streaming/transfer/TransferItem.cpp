#include "streaming/transfer/TransferItem.h"

#include <utility>

#include "platform/foundation/queues/Clock.h"
#include "streaming/transfer/ItemContext.h"
#include "streaming/transfer/KeyRequest.h"
#include "streaming/transfer/ResourceTransfer.h"

namespace streaming {
namespace {

class CancelledTransfer final : public Transfer {
 public:
  void resume() override {}
};

}  // namespace

TransferItem::TransferItem(std::shared_ptr<ItemContext> context) : _context(std::move(context)) {}

TransferItem::~TransferItem() { close(); }

void TransferItem::close() {
  if (_context->isClosed()) return;
  _context->markClosed();
  _context->loop().post([context = _context] { context->close(); });
}

const ItemSetup& TransferItem::setup() const { return _context->setup(); }

TransferStatistics TransferItem::statistics() const { return _context->counters().statistics(); }

bool TransferItem::isBusy() const { return _context->counters().isBusy(); }

void TransferItem::requestKey(const std::string& url,
                              std::function<void(ContentResponse response)> reply) {
  _context->post([item = std::weak_ptr(_context), url, reply = std::move(reply)] {
    if (const auto context = item.lock()) KeyRequest::start(context, url, reply);
  });
}

std::unique_ptr<Transfer> TransferItem::start(const TransferRequest& request,
                                              TransferObserver& observer) {
  if (_context->isClosed()) return std::make_unique<CancelledTransfer>();
  auto transfer = std::make_unique<ResourceTransfer>(_context, request, observer);
  transfer->start();
  return transfer;
}

std::shared_ptr<void> TransferItem::callAt(MonotonicTime when, std::function<void()> task) {
  return _context->loop().callAt(when, [context = std::weak_ptr(_context), task = std::move(task)] {
    const auto item = context.lock();
    if (item && !item->isClosed()) task();
  });
}

MonotonicTime TransferItem::now() const { return std::chrono::steady_clock::now(); }

platform::Date TransferItem::civilTime() const { return platform::SystemClock().date(); }

void TransferItem::post(std::function<void()> task) { _context->post(std::move(task)); }

}  // namespace streaming
