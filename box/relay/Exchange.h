#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "box/relay/Delivery.h"
#include "box/relay/DiskCache.h"
#include "box/relay/Fetch.h"
#include "box/relay/ItemContext.h"
#include "box/relay/RelayItem.h"
#include "box/relay/ResponseSink.h"

namespace box {

/// A request of the engine's, or of the player's for a key, until it is answered: who has the
/// resource is found out, by fetching or asking, as often as it is said to be elsewhere.
///
/// Threads: the relay's, but for the reply to a question.
class Exchange : public FetchObserver, public std::enable_shared_from_this<Exchange> {
 public:
  struct Request {
    RelayPath path;
    bool headOnly = false;
    std::string range;    ///< a Range field, or empty
    HeaderFields fields;  ///< others that a server may want to see
    Delivery::Form form = Delivery::Form::Body;
  };

  /// Where bodies come from; both outlive the exchange.
  struct Sources {
    CurlLoop& transfers;
    DiskCache* cache;  ///< null: none
  };

  /// It belongs to the item until it has come to its end.
  static void start(std::shared_ptr<ItemContext> item, const Sources& sources, Request request,
                    std::shared_ptr<ResponseSink> sink);
  ~Exchange() override;
  /// Breaks it off in the item's name.
  void cancel();

 private:
  using ReadHeld = std::function<std::string(std::uint64_t position, std::size_t size)>;

  Exchange(std::shared_ptr<ItemContext> item, const Sources& sources, Request request,
           std::shared_ptr<ResponseSink> sink);
  void _locate(const std::string& url);
  void _fetch(const std::string& url);
  void _ask(const std::string& url);
  void _answered(RelayAnswer answer);
  void _answeredData(RelayAnswer answer);
  bool _isCached(const std::string& url);
  bool _mayCache() const;
  /// `read` gives bytes of a body of `size`, all of which is at hand.
  void _passHeld(ResourceHead head, std::uint64_t size, ReadHeld read);
  void _passOn();
  void _resume();

  BodyFlow fetchGotHead(const ResourceHead& head) override;
  BodyFlow fetchGotBytes(std::string_view bytes) override;
  void fetchEnded(std::optional<platform::Error> error) override;

  BodyFlow _noting(BodyFlow flow);
  void _sourceEnded();
  void _fail(const platform::Error& error);
  void _passGap();
  void _close();
  void _setBusy(bool busy);

  const std::shared_ptr<ItemContext> _item;
  const Sources _sources;
  Request _request;
  const std::shared_ptr<ResponseSink> _sink;
  std::string _url;  // where it is looked for now
  std::unique_ptr<Delivery> _delivery;
  std::unique_ptr<Fetch> _fetching;
  std::optional<platform::Error> _refusal;
  std::unique_ptr<DiskCache::Writer> _keeping;
  ReadHeld _held;  // of a body that is on its way without a fetch
  std::uint64_t _heldBegin = 0;
  std::uint64_t _heldEnd = 0;
  std::uint64_t _question = 0;  // the newest one's number
  int _redirects = 0;
  bool _isBusy = false;
  bool _isClosed = false;
};

}  // namespace box
