#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include <curl/curl.h>

#include "box/relay/CurlLoop.h"
#include "box/relay/ItemRecord.h"
#include "box/relay/RelayBounds.h"
#include "box/relay/RelayItem.h"
#include "box/relay/RelayPath.h"
#include "box/relay/RelayThread.h"

namespace box {

class Exchange;

/// What the exchanges of one item share: what the sender asked for, the record of what happened,
/// cookies, and the connections where they are the item's own.
///
/// Threads: the relay's, except where it says so.
class ItemContext : public std::enable_shared_from_this<ItemContext> {
 public:
  /// On any thread. `base` is the server's own URL, without a slash behind it.
  ItemContext(RelayItemSetup setup, std::string token, std::string base,
              std::shared_ptr<RelayThread> thread, RelayBounds bounds);
  ~ItemContext();
  ItemContext(const ItemContext&) = delete;
  ItemContext& operator=(const ItemContext&) = delete;

  // These are for any thread.
  const RelayItemSetup& setup() const { return _setup; }
  const std::string& token() const { return _token; }
  const RelayBounds& bounds() const { return _bounds; }
  RelayThread& thread() const { return *_thread; }
  ItemRecord& record() { return _record; }
  std::string urlFor(const std::string& url, RelayPath::Kind kind) const;
  /// As RelayItem says.
  void whenHopeless(std::function<void()> handler);
  void whenLegBegins(std::function<void()> handler);
  /// From now on nobody is let in, and no callback of the item's is called anew.
  void shut() { _isShut = true; }
  bool isShut() const { return _isShut; }

  /// Whether the item's header fields and its key go to the server of `url`: the host of the item's
  /// own URL, and over TLS where that was.
  bool isOwnServer(const std::string& url) const;
  /// Item with a key of their own do not share connections with others. `shared` is for the rest.
  CurlLoop& loop(CurlLoop& shared);
  /// Filled with the item's own at first.
  CURLSH* cookies();

  void add(std::shared_ptr<Exchange> exchange);
  void remove(Exchange& exchange);
  /// One leg of the record has followed another.
  void tellLeg();
  /// Media of the item are not to be had.
  void giveUp();
  /// Breaks off what is under way.
  void close();

 private:
  void _dropConnections();

  const RelayItemSetup _setup;
  const std::string _token;
  const std::string _base;
  const std::shared_ptr<RelayThread> _thread;
  const RelayBounds _bounds;
  ItemRecord _record;
  std::atomic<bool> _isShut = false;
  std::mutex _mutex;  // guards the next three
  bool _isHopeless = false;
  std::function<void()> _whenHopeless;
  std::function<void()> _whenLegBegins;
  CURLSH* _cookies = nullptr;
  std::unique_ptr<CurlLoop> _loop;
  std::set<std::shared_ptr<Exchange>> _exchanges;
};

/// In lower case; empty for what has none.
std::string schemeOfURL(const std::string& url);
bool isWebURL(const std::string& url);

}  // namespace box
