#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include <glib.h>

#include "box/relay/CurlLoop.h"
#include "box/relay/DiskCache.h"
#include "box/relay/EngineConnection.h"
#include "box/relay/Exchange.h"
#include "box/relay/ItemContext.h"
#include "box/relay/RelayThread.h"

namespace box {

/// The items that are let in, by their tokens. Threads: any.
class ItemTable {
 public:
  void add(std::shared_ptr<ItemContext> item);
  void remove(const std::string& token);
  std::shared_ptr<ItemContext> find(const std::string& token) const;
  /// Takes all out.
  std::map<std::string, std::shared_ptr<ItemContext>> clear();

 private:
  mutable std::mutex _mutex;
  std::map<std::string, std::shared_ptr<ItemContext>> _items;
};

/// The HTTP server in front of the items, and the transfers that they share. Lets in GET and HEAD,
/// from this process alone.
///
/// It is one of its own: of the library at hand, a server keeps what belongs to a connection when
/// the peer has gone.
///
/// Threads: the relay's.
class RelayServer {
 public:
  /// `listener` is bound, listens and does not block; it is the server's from now on.
  RelayServer(int listener, GMainContext* context, std::shared_ptr<ItemTable> items,
              std::size_t mostWaiting, std::string cacheFolder);
  /// The items have been closed.
  ~RelayServer();
  RelayServer(const RelayServer&) = delete;
  RelayServer& operator=(const RelayServer&) = delete;

  /// For an exchange of `item`.
  Exchange::Sources sourcesFor(const ItemContext& item);

 private:
  void _listen();
  void _stopListening();
  void _accept();
  void _add(int descriptor);
  void _answer(const EngineRequest& request, std::shared_ptr<ResponseSink> sink);

  const int _listener;
  GMainContext* const _context;
  const std::shared_ptr<ItemTable> _items;
  const std::size_t _mostWaiting;
  CurlLoop _transfers;
  std::string _cacheFolder;  // of a cache that is not open yet
  std::unique_ptr<DiskCache> _cache;
  GSource* _watch = nullptr;
  RelayTimer _listensAgain;
  std::set<std::shared_ptr<EngineConnection>> _connections;
  std::size_t _strangers = 0;  // among them
};

}  // namespace box
