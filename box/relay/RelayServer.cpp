#include "box/relay/RelayServer.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include <glib-unix.h>
#include <sys/socket.h>
#include <unistd.h>

#include "box/relay/LoopbackPeer.h"
#include "box/relay/NetworkErrors.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/TVSLogger.h"

namespace box {
namespace {

// They are told that they may not, and are of no further interest.
constexpr std::size_t kMostStrangers = 16;
constexpr auto kListenPause = std::chrono::milliseconds(1000);

void refuse(ResponseSink& sink, int status) {
  sink.fail(status, networkError(platform::URLErrorCode::Unknown));
}

Exchange::Request requestOf(const EngineRequest& asked, RelayPath path) {
  Exchange::Request request;
  request.form = path.kind == RelayPath::Kind::Key ? Delivery::Form::Key : Delivery::Form::Body;
  request.path = std::move(path);
  request.headOnly = asked.method == "HEAD";
  request.range = asked.field("Range");
  // Stations that are asked tell what they play, within the stream.
  const std::string wanted = asked.field("Icy-MetaData");
  if (!wanted.empty()) request.fields.emplace_back("Icy-MetaData", wanted);
  return request;
}

}  // namespace

void ItemTable::add(std::shared_ptr<ItemContext> item) {
  const std::lock_guard lock(_mutex);
  _items[item->token()] = std::move(item);
}

void ItemTable::remove(const std::string& token) {
  std::shared_ptr<ItemContext> removed;
  const std::lock_guard lock(_mutex);
  const auto found = _items.find(token);
  if (found == _items.end()) return;
  removed = std::move(found->second);
  _items.erase(found);
}

std::shared_ptr<ItemContext> ItemTable::find(const std::string& token) const {
  const std::lock_guard lock(_mutex);
  const auto found = _items.find(token);
  return found == _items.end() ? nullptr : found->second;
}

std::map<std::string, std::shared_ptr<ItemContext>> ItemTable::clear() {
  const std::lock_guard lock(_mutex);
  return std::exchange(_items, {});
}

RelayServer::RelayServer(int listener, GMainContext* context, std::shared_ptr<ItemTable> items,
                         std::size_t mostWaiting, std::string cacheFolder)
    : _listener(listener),
      _context(context),
      _items(std::move(items)),
      _mostWaiting(mostWaiting),
      _transfers(context),
      _cacheFolder(std::move(cacheFolder)),
      _listensAgain(context) {
  _listen();
}

RelayServer::~RelayServer() {
  _stopListening();
  _connections.clear();
  close(_listener);
}

void RelayServer::_listen() {
  _watch = g_unix_fd_source_new(_listener, G_IO_IN);
  const GUnixFDSourceFunc ready = [](gint, GIOCondition, gpointer self) -> gboolean {
    static_cast<RelayServer*>(self)->_accept();
    return G_SOURCE_CONTINUE;
  };
  g_source_set_callback(_watch, G_SOURCE_FUNC(ready), this, nullptr);
  g_source_attach(_watch, _context);
}

void RelayServer::_stopListening() {
  if (!_watch) return;
  g_source_destroy(_watch);
  g_source_unref(std::exchange(_watch, nullptr));
}

void RelayServer::_accept() {
  const int descriptor = accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor >= 0) return _add(descriptor);
  if (errno == EAGAIN || errno == ECONNABORTED || errno == EINTR) return;
  // Whoever waits would wake it up again and again.
  TVSLogNotice(TVSSystemLog, "The relay takes no connection for a while: no descriptors are left");
  _stopListening();
  _listensAgain.start(kListenPause, [this] { _listen(); });
}

void RelayServer::_add(int descriptor) {
  const bool isOwn = isPeerOfThisProcess(descriptor);
  if (!isOwn && _strangers >= kMostStrangers) {
    close(descriptor);
    return;
  }
  if (!isOwn) {
    ++_strangers;
    TVSLogNotice(TVSSystemLog, "A connection to the relay is refused: it is another process's");
  }
  auto handle = [this, isOwn](const EngineRequest& request, std::shared_ptr<ResponseSink> sink) {
    if (isOwn)
      _answer(request, std::move(sink));
    else
      refuse(*sink, 403);
  };
  const auto key = std::make_shared<std::weak_ptr<EngineConnection>>();
  auto closed = [this, isOwn, key] {
    if (!isOwn) --_strangers;
    _connections.erase(key->lock());
  };
  const auto connection = std::make_shared<EngineConnection>(descriptor, _context, _mostWaiting,
                                                             std::move(handle), std::move(closed));
  *key = connection;
  _connections.insert(connection);
  connection->start();
}

Exchange::Sources RelayServer::sourcesFor(const ItemContext& item) {
  if (item.setup().usesDiskCache && !_cacheFolder.empty())
    _cache = DiskCache::open(std::exchange(_cacheFolder, {}), platform::SystemClock().date());
  return {_transfers, _cache.get()};
}

void RelayServer::_answer(const EngineRequest& request, std::shared_ptr<ResponseSink> sink) {
  if (request.method != "GET" && request.method != "HEAD") return refuse(*sink, 405);
  auto path = RelayPath::parse(request.target);
  const auto item = path ? _items->find(path->token) : nullptr;
  if (!item || item->isShut()) return refuse(*sink, kClasslessStatus);
  Exchange::start(item, sourcesFor(*item), requestOf(request, std::move(*path)), std::move(sink));
}

}  // namespace box
