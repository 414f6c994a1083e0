#include "box/relay/LoopbackRelay.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <functional>
#include <utility>

#include <netinet/in.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include "box/relay/AnswerCollector.h"
#include "box/relay/Exchange.h"
#include "box/relay/NetworkErrors.h"

namespace box {
namespace {

/// Bound to a free port of the loopback address; -1: there is none to be had.
int listeningSocket(std::uint16_t& port) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return -1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(descriptor, generic, sizeof address) == 0 && listen(descriptor, SOMAXCONN) == 0 &&
      getsockname(descriptor, generic, &size) == 0) {
    port = ntohs(address.sin_port);
    return descriptor;
  }
  close(descriptor);
  return -1;
}

/// 128 bits that nobody can guess, or nothing.
std::string newToken() {
  std::array<unsigned char, 16> bytes{};
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) return {};
  static constexpr char digits[] = "0123456789abcdef";
  std::string token;
  for (const unsigned char byte : bytes) token += {digits[byte >> 4], digits[byte & 15]};
  return token;
}

}  // namespace

class LoopbackRelay::Item final : public RelayItem {
 public:
  Item(std::shared_ptr<Core> core, std::shared_ptr<ItemContext> context)
      : _core(std::move(core)), _context(std::move(context)) {}

  ~Item() override { LoopbackRelay::Item::close(); }

  void close() override {
    _context->shut();
    _core->thread->post([items = _core->items, context = _context] {
      items->remove(context->token());
      context->close();
    });
  }

  std::string url() const override { return urlFor(_context->setup().url); }
  std::string urlFor(const std::string& url) const override {
    return _context->urlFor(url, RelayPath::Kind::Resource);
  }
  std::optional<platform::Error> failure() const override { return _context->record().failure(); }
  void whenHopeless(std::function<void()> handler) override {
    _context->whenHopeless(std::move(handler));
  }
  bool isBusy() const override { return _context->record().isBusy(); }
  RelayStatistics statistics() const override { return _context->record().statistics(); }
  std::vector<RelayedRange> ranges() const override { return _context->record().ranges(); }
  std::vector<RelayLeg> legs() const override { return _context->record().legs(); }
  void whenLegBegins(std::function<void()> handler) override {
    _context->whenLegBegins(std::move(handler));
  }
  std::vector<std::shared_ptr<const MediaTimeline>> timelines() const override {
    return _context->record().timelines();
  }
  std::shared_ptr<const MediaTimeline> timeline() const override {
    return _context->record().timeline();
  }
  std::shared_ptr<const StreamOffers> offers() const override {
    return _context->record().offers();
  }

  void askForKey(const std::string& url, std::function<void(RelayAnswer)> reply) override {
    // The thread's own work holds no core: it would be its own last owner.
    _core->thread->post(
        [core = std::weak_ptr(_core), context = _context, url, reply = std::move(reply)]() mutable {
          const auto alive = core.lock();
          if (!alive || !alive->server || context->isShut()) return;
          Exchange::Request request;
          request.path = {context->token(), RelayPath::Kind::Key, url};
          request.form = Delivery::Form::Answer;
          auto unlessShut = [context = std::weak_ptr(context),
                             reply = std::move(reply)](RelayAnswer answer) {
            const auto item = context.lock();
            if (item && !item->isShut()) reply(std::move(answer));
          };
          Exchange::start(context, alive->server->sourcesFor(*context), std::move(request),
                          std::make_shared<AnswerCollector>(std::move(unlessShut)));
        });
  }

 private:
  const std::shared_ptr<Core> _core;
  const std::shared_ptr<ItemContext> _context;
};

LoopbackRelay::LoopbackRelay(RelayOptions options, RelayBounds bounds)
    : _options(std::move(options)), _bounds(bounds) {}

LoopbackRelay::~LoopbackRelay() { _core->thread->stop(); }

bool LoopbackRelay::_start() {
  const std::lock_guard lock(_mutex);
  if (_port) return true;
  std::uint16_t port = 0;
  const int listener = listeningSocket(port);
  if (listener < 0) return false;
  _port = port;
  auto begin = [core = _core.get(), listener, mostWaiting = _bounds.waitingBytes,
                cacheFolder = _options.cacheFolder] {
    curl_global_init(CURL_GLOBAL_DEFAULT);
    core->server = std::make_unique<RelayServer>(listener, core->thread->context(), core->items,
                                                 mostWaiting, cacheFolder);
  };
  auto end = [core = _core] {
    for (const auto& [token, item] : core->items->clear()) item->close();
    core->server.reset();
  };
  _core->thread->start(std::move(begin), std::move(end));
  return true;
}

void LoopbackRelay::warmUp() { _start(); }

std::shared_ptr<RelayItem> LoopbackRelay::open(RelayItemSetup setup,
                                               std::optional<platform::Error>* error) {
  std::string token = newToken();
  if (token.empty() || !_start()) {
    const int reason = errno;
    if (error)
      *error = networkError(platform::URLErrorCode::Unknown,
                            std::string("The relay cannot listen: ") + std::strerror(reason));
    return nullptr;
  }
  const std::string base = "http://127.0.0.1:" + std::to_string(*_port);
  auto context = std::make_shared<ItemContext>(std::move(setup), std::move(token), base,
                                               _core->thread, _bounds);
  _core->items->add(context);
  return std::make_shared<Item>(_core, std::move(context));
}

std::shared_ptr<Relay> Relay::make(RelayOptions options) {
  return std::make_shared<LoopbackRelay>(std::move(options), RelayBounds());
}

bool isRelayed(const std::string& url) {
  const std::string scheme = schemeOfURL(url);
  return !scheme.empty() && scheme != "file" && scheme != "data";
}

}  // namespace box
