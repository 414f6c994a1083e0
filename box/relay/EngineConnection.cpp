#include "box/relay/EngineConnection.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <utility>

#include <glib-unix.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "box/relay/EarlyPace.h"
#include "box/relay/EngineResponse.h"
#include "box/relay/RelayThread.h"

namespace box {
namespace {

constexpr std::size_t kMostHeadBytes = std::size_t{64} * 1024;

std::string hexadecimal(std::size_t number) {
  char digits[16];
  const auto end = std::to_chars(digits, digits + sizeof digits, number, 16).ptr;
  return {digits, end};
}

}  // namespace

std::string EngineRequest::field(std::string_view name) const {
  for (const auto& [key, value] : fields)
    if (isSameName(key, name)) return value;
  return {};
}

/// The answer to one request, as bytes of its connection.
class EngineConnection::Response final : public ResponseSink {
 public:
  Response(const std::shared_ptr<EngineConnection>& connection, const EngineRequest& request)
      : _connection(connection),
        _nextPiece(connection->_context),
        _isHead(request.method == "HEAD"),
        _isOldVersion(request.isOldVersion),
        _isLast(request.isLast) {}

  void begin(const ResourceHead& head) override {
    const auto connection = _connection.lock();
    if (!connection || _isEnded || std::exchange(_isBegun, true)) return;
    if (!head.length) _framing = _isOldVersion ? BodyFraming::Close : BodyFraming::Chunks;
    _isLast = _isLast || _framing == BodyFraming::Close;
    connection->_write(headOfResponse(head, _framing, _isLast));
  }

  bool send(std::string_view bytes) override {
    const auto connection = _connection.lock();
    if (!connection || _isEnded || _isHead || bytes.empty()) return true;
    if (_framing == BodyFraming::Chunks)
      connection->_write(hexadecimal(bytes.size()).append("\r\n").append(bytes).append("\r\n"));
    else
      connection->_write(bytes);
    const auto wait = _pace.pass(bytes.size(), platform::SystemClock().now());
    if (wait.count() > 0) _nextPiece.start(wait, [this] { _takePiece(); });
    _isFull = connection->_waiting >= connection->_mostWaiting || _nextPiece.isRunning();
    return !_isFull;
  }

  void finish() override {
    const auto connection = _connection.lock();
    if (!connection || std::exchange(_isEnded, true)) return;
    _nextPiece.cancel();
    if (_framing == BodyFraming::Chunks && !_isHead) connection->_write("0\r\n\r\n");
    connection->_responseEnded(!_isLast);
  }

  void fail(int status, const platform::Error&) override {
    const auto connection = _connection.lock();
    if (!connection || _isEnded) return;
    const bool isAnswer = !_isBegun;
    if (isAnswer) {
      ResourceHead head;
      head.status = status;
      head.length = 0;
      begin(head);
    }
    _isEnded = true;
    _nextPiece.cancel();
    connection->_responseEnded(isAnswer && !_isLast);
  }

  void thereIsRoom() {
    if (_nextPiece.isRunning() || !std::exchange(_isFull, false)) return;
    // A copy: it may be taken back meanwhile.
    if (const auto call = drained) call();
  }

  void peerLeft() {
    _isEnded = true;
    _nextPiece.cancel();
    if (const auto call = std::exchange(gone, nullptr)) call();
  }

 private:
  void _takePiece() {
    const auto connection = _connection.lock();
    // Else there will be room.
    if (connection && connection->_waiting <= connection->_mostWaiting / 2) thereIsRoom();
  }

  const std::weak_ptr<EngineConnection> _connection;
  RelayTimer _nextPiece;
  EarlyPace _pace;
  const bool _isHead;
  const bool _isOldVersion;
  bool _isLast;
  BodyFraming _framing = BodyFraming::Length;
  bool _isBegun = false;
  bool _isEnded = false;
  bool _isFull = false;
};

EngineConnection::EngineConnection(int descriptor, GMainContext* context, std::size_t mostWaiting,
                                   Handler handler, std::function<void()> closed)
    : _descriptor(descriptor),
      _context(context),
      _mostWaiting(mostWaiting),
      _handler(std::move(handler)),
      _closed(std::move(closed)) {
  // Ends of answers are short, and are waited for.
  const int on = 1;
  setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

EngineConnection::~EngineConnection() {
  _unwatch(_reading);
  _unwatch(_writing);
  ::close(_descriptor);
}

void EngineConnection::start() { _reading = _watch(G_IO_IN, &EngineConnection::_readable); }

GSource* EngineConnection::_watch(GIOCondition condition, void (EngineConnection::*ready)()) {
  struct Watch {
    EngineConnection* connection;
    void (EngineConnection::*ready)();
  };
  GSource* const source = g_unix_fd_source_new(_descriptor, condition);
  const GUnixFDSourceFunc call = [](gint, GIOCondition, gpointer data) -> gboolean {
    const Watch watch = *static_cast<Watch*>(data);
    const auto self = watch.connection->shared_from_this();
    (self.get()->*watch.ready)();
    return G_SOURCE_CONTINUE;
  };
  g_source_set_callback(source, G_SOURCE_FUNC(call), new Watch{this, ready},
                        [](gpointer data) { delete static_cast<Watch*>(data); });
  g_source_attach(source, _context);
  return source;
}

void EngineConnection::_unwatch(GSource*& source) {
  if (!source) return;
  g_source_destroy(source);
  g_source_unref(std::exchange(source, nullptr));
}

void EngineConnection::_readable() {
  char bytes[8192];
  const ssize_t size = recv(_descriptor, bytes, sizeof bytes, MSG_DONTWAIT);
  if (size < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (size <= 0) return _close();
  _input.append(bytes, static_cast<std::size_t>(size));
  if (!_response) return _serve();
  // Nobody sends so many requests ahead.
  if (_input.size() > kMostHeadBytes) _close();
}

void EngineConnection::_serve() {
  // An answer that is given at once comes back here.
  if (std::exchange(_isServing, true)) return;
  const auto self = shared_from_this();
  while (!_response && !_isLast) {
    EngineRequest request;
    if (!_takeRequest(request)) break;
    _response = std::make_shared<Response>(self, request);
    _handler(request, _response);
  }
  _isServing = false;
  if (!_response && !_isLast && _input.size() > kMostHeadBytes) _close();
}

bool EngineConnection::_takeRequest(EngineRequest& request) {
  const auto end = _input.find("\r\n\r\n");
  if (end == _input.npos) return false;
  std::string_view rest = std::string_view(_input).substr(0, end + 2);
  const std::string_view line = rest.substr(0, rest.find('\r'));
  const auto first = line.find(' ');
  const auto last = line.rfind(' ');
  const bool isRequest =
      first != line.npos && last > first && line.substr(last).starts_with(" HTTP/1.");
  if (isRequest) {
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, last - first - 1);
    request.isOldVersion = line.ends_with("1.0");
  }
  HeaderReader reader(kMostHeadBytes);
  for (rest.remove_prefix(line.size() + 2); !rest.empty();) {
    const auto size = rest.find("\r\n");
    reader.feed(rest.substr(0, size));
    rest.remove_prefix(size + 2);
  }
  request.fields = reader.takeFields();
  // What a body would be, nobody wants to know.
  request.isLast =
      !isRequest || request.isOldVersion || isSameName(request.field("Connection"), "close") ||
      !request.field("Content-Length").empty() || !request.field("Transfer-Encoding").empty();
  _input.erase(0, end + 4);
  return true;
}

void EngineConnection::_responseEnded(bool goesOn) {
  _response = nullptr;
  _isLast = _isLast || !goesOn;
  if (!_isLast) return _serve();
  // Seen by the peer once it has read what there is: _writable() closes then, or when it cannot.
  if (!_writing) _writing = _watch(G_IO_OUT, &EngineConnection::_writable);
}

void EngineConnection::_write(std::string_view bytes) {
  bool failed = false;
  if (_output.empty()) bytes.remove_prefix(_sendNow(bytes, failed));
  if (bytes.empty()) return;
  _output.emplace_back(bytes);
  _waiting += bytes.size();
  // Whatever failed will do so again there, where the connection may go.
  if (!_writing) _writing = _watch(G_IO_OUT, &EngineConnection::_writable);
}

std::size_t EngineConnection::_sendNow(std::string_view bytes, bool& failed) const {
  const ssize_t size = ::send(_descriptor, bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
  if (size >= 0) return static_cast<std::size_t>(size);
  failed = errno != EAGAIN && errno != EINTR;
  return 0;
}

void EngineConnection::_writable() {
  bool failed = false;
  while (!_output.empty()) {
    const auto rest = std::string_view(_output.front()).substr(_sentOfFirst);
    const std::size_t sent = _sendNow(rest, failed);
    if (failed) return _close();
    _sentOfFirst += sent;
    _waiting -= sent;
    if (sent < rest.size()) break;
    _output.pop_front();
    _sentOfFirst = 0;
  }
  if (_output.empty()) {
    _unwatch(_writing);
    if (_isLast) return _close();
  }
  if (_response && _waiting <= _mostWaiting / 2) {
    const auto response = _response;
    response->thereIsRoom();
  }
}

void EngineConnection::_close() {
  const auto self = shared_from_this();
  _unwatch(_reading);
  _unwatch(_writing);
  shutdown(_descriptor, SHUT_RDWR);
  if (const auto response = std::exchange(_response, nullptr)) response->peerLeft();
  if (const auto closed = std::exchange(_closed, nullptr)) closed();
}

}  // namespace box
