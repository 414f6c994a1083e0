#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <glib.h>

#include "box/relay/RelayItem.h"
#include "box/relay/ResponseSink.h"

namespace box {

/// A request as it came over a connection.
struct EngineRequest {
  std::string method;
  std::string target;  ///< path and query
  HeaderFields fields;
  bool isOldVersion = false;  ///< HTTP/1.0, which knows no chunks
  bool isLast = false;        ///< of its connection
  std::string field(std::string_view name) const;
};

/// A connection to the relay's server: requests of HTTP/1.1 without bodies, one answered after the
/// other, until the peer goes, which is seen at once also while nothing is written.
///
/// Threads: the relay's.
class EngineConnection : public std::enable_shared_from_this<EngineConnection> {
 public:
  using Handler =
      std::function<void(const EngineRequest& request, std::shared_ptr<ResponseSink> sink)>;

  /// Takes `descriptor`, which does not block. Of an answer, `mostWaiting` bytes are taken before
  /// the peer has to read. `closed` is called last, and may destroy it.
  EngineConnection(int descriptor, GMainContext* context, std::size_t mostWaiting, Handler handler,
                   std::function<void()> closed);
  ~EngineConnection();
  EngineConnection(const EngineConnection&) = delete;
  EngineConnection& operator=(const EngineConnection&) = delete;

  void start();

 private:
  class Response;

  GSource* _watch(GIOCondition condition, void (EngineConnection::*ready)());
  static void _unwatch(GSource*& source);
  void _readable();
  void _writable();
  void _serve();
  bool _takeRequest(EngineRequest& request);
  void _responseEnded(bool goesOn);
  void _write(std::string_view bytes);
  std::size_t _sendNow(std::string_view bytes, bool& failed) const;
  void _close();

  const int _descriptor;
  GMainContext* const _context;
  const std::size_t _mostWaiting;
  const Handler _handler;
  std::function<void()> _closed;
  GSource* _reading = nullptr;
  GSource* _writing = nullptr;
  std::string _input;
  std::deque<std::string> _output;
  std::size_t _sentOfFirst = 0;
  std::size_t _waiting = 0;
  std::shared_ptr<Response> _response;  // that is under way
  bool _isServing = false;
  bool _isLast = false;  // nothing follows what is in the output
};

}  // namespace box
