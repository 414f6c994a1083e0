#include "receivers/upnp/device/ArtLoader.h"

#include <gtest/gtest.h>

#include "tests/receivers/upnp/device/Http.h"
#include "tests/receivers/upnp/device/MainLoop.h"

namespace {

using Art = std::optional<upnp::ArtLoader::Art>;

std::string uriOf(const EventServer& server) {
  return "http://127.0.0.1:" + std::to_string(server.port()) + "/art";
}

TEST(UpnpArtLoader, FetchesPicturesOfBoundedSize) {
  const std::size_t limit = std::size_t{2} << 20;
  const struct {
    const char* name;
    const char* head;
    std::size_t size;
    bool isArt;
  } cases[] = {
      {"picture", "200 OK\r\nContent-Type: image/png", 3, true},
      {"largest picture", "200 OK\r\nContent-Type: image/jpeg", limit, true},
      {"too large", "200 OK\r\nContent-Type: image/jpeg", limit + 1, false},
      {"empty", "200 OK\r\nContent-Type: image/jpeg", 0, false},
      {"page", "200 OK\r\nContent-Type: text/html", 3, false},
      {"no type", "200 OK", 3, false},
      {"error with a picture", "404 Not Found\r\nContent-Type: image/png", 3, false},
  };
  upnp::ArtLoader loader;
  for (const auto& each : cases) {
    EventServer server(each.head, std::string(each.size, 'x'));
    bool isDone = false;
    Art loaded;
    loader.load(uriOf(server), [&](const Art& art) {
      isDone = true;
      loaded = art;
    });
    whileRunning([&] { return server.receive(); });
    ASSERT_TRUE(iterateUntil([&] { return isDone; })) << each.name;
    EXPECT_EQ(loaded ? loaded->data.size() : 0, each.isArt ? each.size : 0) << each.name;
  }
}

TEST(UpnpArtLoader, NewFetchCancelsTheOldOne) {
  const EventServer slow;
  EventServer server("200 OK\r\nContent-Type: image/png", "x");
  upnp::ArtLoader loader;
  std::string done;
  loader.load(uriOf(slow), [&](const Art&) { done += "old "; });
  loader.load(uriOf(server), [&](const Art&) { done += "new"; });
  whileRunning([&] { return server.receive(); });
  iterateUntil([&] { return !done.empty(); });
  EXPECT_EQ(done, "new");
}

}  // namespace
