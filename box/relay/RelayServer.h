#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include <libsoup/soup.h>

#include "box/relay/CurlLoop.h"
#include "box/relay/ItemContext.h"

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
/// Threads: the relay's, with its context as the default one.
class RelayServer {
 public:
  /// `listener` is bound and listens; it is the server's from now on.
  RelayServer(int listener, GMainContext* context, std::shared_ptr<ItemTable> items);
  /// The items have been closed.
  ~RelayServer();
  RelayServer(const RelayServer&) = delete;
  RelayServer& operator=(const RelayServer&) = delete;

  CurlLoop& transfers() { return _transfers; }

 private:
  static void _admit(SoupServer*, SoupServerMessage* message, const char*, GHashTable*, void*);
  static void _handle(SoupServer*, SoupServerMessage* message, const char*, GHashTable*,
                      void* self);

  const std::shared_ptr<ItemTable> _items;
  CurlLoop _transfers;
  SoupServer* const _server;
};

}  // namespace box
