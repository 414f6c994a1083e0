#include "receivers/upnp/workarounds/LibsoupSocketLeak.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "tests/receivers/upnp/device/Http.h"
#include "tests/receivers/upnp/device/MainLoop.h"
#include "tests/receivers/upnp/model/VirtualClock.h"

namespace {

struct Sockets {
  upnp::LibsoupSocketLeak* accepted;
  std::vector<GSocket*> made{};
  int released = 0;
};

TEST(LibsoupSocketLeak, ReleasesSocketsAfterTheirConnections) {
  VirtualClock clock;
  upnp::LibsoupSocketLeak accepted(clock);
  Sockets sockets{&accepted};
  const upnp::ObjectRef<SoupServer> server(soup_server_new(nullptr, nullptr));
  g_signal_connect(server.get(), "request-started",
                   G_CALLBACK(+[](SoupServer*, SoupServerMessage* message, Sockets* all) {
                     all->accepted->note(message);
                     all->made.push_back(soup_server_message_get_socket(message));
                     g_object_weak_ref(
                         G_OBJECT(all->made.back()),
                         [](gpointer count, GObject*) { ++*static_cast<int*>(count); },
                         &all->released);
                   }),
                   &sockets);
  ASSERT_TRUE(soup_server_listen_local(server.get(), 0, SOUP_SERVER_LISTEN_IPV4_ONLY, nullptr));
  GSList* const uris = soup_server_get_uris(server.get());
  const int port = g_uri_get_port(static_cast<GUri*>(uris->data));
  g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
  for (int count = 0; count < 3; ++count) {
    whileRunning([&] { return exchange(port, {.method = "GET", .path = "/"}); });
  }
  ASSERT_EQ(sockets.made.size(), 3U);
  // Later versions of libsoup release the sockets, so the pointers are not valid.
  EXPECT_TRUE(iterateUntil([&] {
    return soup_check_version(3, 4, 0)
               ? sockets.released == 3
               : std::all_of(sockets.made.begin(), sockets.made.end(), g_socket_is_closed);
  }));
  clock.advance(std::chrono::seconds(10));
  EXPECT_EQ(sockets.released, 3);
  EXPECT_EQ(accepted.count(), 0U);
  EXPECT_EQ(clock.pending(), 0U);
}

}  // namespace
