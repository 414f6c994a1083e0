#include "box/media/ReachabilityProbe.h"

#include <cerrno>
#include <memory>

#include <gst/gst.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace box {
namespace {

constexpr int kConnectMilliseconds = 2000;

class Socket {
 public:
  explicit Socket(int descriptor) : _descriptor(descriptor) {}
  ~Socket() {
    if (_descriptor >= 0) close(_descriptor);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int get() const { return _descriptor; }

 private:
  const int _descriptor;
};

Reachability connectTo(const addrinfo& address) {
  const Socket socket(::socket(
      address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, address.ai_protocol));
  if (socket.get() < 0) return Reachability::Unreachable;
  if (connect(socket.get(), address.ai_addr, address.ai_addrlen) == 0) return Reachability::Accepts;
  if (errno != EINPROGRESS) return Reachability::Unreachable;
  pollfd waiting{socket.get(), POLLOUT, 0};
  if (poll(&waiting, 1, kConnectMilliseconds) != 1) return Reachability::TimedOut;
  int failure = 0;
  socklen_t size = sizeof failure;
  getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &failure, &size);
  return failure == 0 ? Reachability::Accepts : Reachability::Unreachable;
}

}  // namespace

Reachability probeReachability(const std::string& url) {
  const std::unique_ptr<GstUri, decltype(&gst_uri_unref)> uri(gst_uri_from_string(url.c_str()),
                                                              &gst_uri_unref);
  const char* host = uri ? gst_uri_get_host(uri.get()) : nullptr;
  if (!host || !*host) return Reachability::BadURL;
  const guint named = gst_uri_get_port(uri.get());
  const bool secure = g_strcmp0(gst_uri_get_scheme(uri.get()), "https") == 0;
  const std::string port = std::to_string(named != GST_URI_NO_PORT ? named : secure ? 443u : 80u);

  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host, port.c_str(), &hints, &found) != 0 || !found)
    return Reachability::UnknownHost;
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> addresses(found, &freeaddrinfo);
  // The first address only: the others would multiply the bound.
  return connectTo(*addresses);
}

}  // namespace box
