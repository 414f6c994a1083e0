#include <atomic>
#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "streaming/playback/StreamedItem.h"
#include "tests/streaming/transfer/ScriptedServer.h"

namespace streaming::test {
namespace {

using Response = ScriptedServer::Response;

/// The whole library over real sockets.
struct Items {
  std::shared_ptr<StreamedItem> open(const std::string& path) {
    ItemSetup setup;
    setup.url = server.url(path);
    return streaming->open(std::move(setup), {});
  }
  static std::optional<platform::Error> wait(StreamedItem& item) {
    std::promise<std::optional<platform::Error>> opened;
    item.whenOpened([&](const std::optional<platform::Error>& error) { opened.set_value(error); });
    return opened.get_future().get();
  }
  static std::pair<double, std::optional<platform::Error>> prepare(PresentationPlayback& played) {
    std::promise<std::pair<double, std::optional<platform::Error>>> ready;
    played.prepare({}, {}, [&](double seconds, std::optional<platform::Error> error) {
      ready.set_value({seconds, std::move(error)});
    });
    return ready.get_future().get();
  }
  void serveFilm() {
    std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:4\n";
    for (int i = 0; i < 5; ++i) {
      const std::string name = "s" + std::to_string(i) + ".ts";
      playlist += "#EXTINF:4,\n" + name + "\n";
      server.script("/" + name, {{sized(std::string(1000, static_cast<char>('a' + i)))}});
    }
    server.script("/film", {{sized(playlist + "#EXT-X-ENDLIST\n")}});
  }

  ScriptedServer server;
  std::shared_ptr<Streaming> streaming = Streaming::make();
};

TEST(Streaming, ReadsAPresentationToItsEnd) {
  Items items;
  items.serveFilm();
  const auto item = items.open("/film");
  EXPECT_FALSE(Items::wait(*item));
  ASSERT_EQ(item->kind(), StreamedItem::Kind::Presentation);
  const auto played = item->presentation();
  const auto [seconds, error] = Items::prepare(*played);
  EXPECT_EQ(seconds, 0);
  EXPECT_FALSE(error);
  const auto reader = played->reader(MediaKind::Video);
  ASSERT_TRUE(reader);
  const ReadGate gate;
  std::string first;
  for (auto piece = reader->next(gate); piece && piece->kind == TrackPiece::Kind::Media;
       piece = reader->next(gate)) {
    EXPECT_TRUE(piece->media->waitUntilComplete(gate));
    first += piece->media->copy().front();
  }
  EXPECT_EQ(first, "abcde");
  EXPECT_TRUE(played->timeline(0).isLoadedToEnd);
  const auto requests = items.server.requests().size();
  reader->seek(5);
  EXPECT_EQ(reader->next(gate)->segment.start, 4);
  EXPECT_EQ(items.server.requests().size(), requests);
  EXPECT_EQ(item->statistics().requestCount, 6u);
  EXPECT_EQ(item->accessLog().size(), 1u);
  EXPECT_EQ(item->accessLog().front().mediaSeconds, 20);
  EXPECT_FALSE(item->failure());
}

TEST(Streaming, ReadsAPlainResourceWithTheFirstRequest) {
  Items items;
  items.server.script("/film.mp4", {{sized("RIFF" + std::string(5000, 'f'))}});
  const auto item = items.open("/film.mp4");
  EXPECT_FALSE(Items::wait(*item));
  ASSERT_EQ(item->kind(), StreamedItem::Kind::Plain);
  const auto resource = item->resource();
  EXPECT_EQ(resource->size(), 5004u);
  std::array<std::byte, 8> bytes{};
  const ReadGate gate;
  EXPECT_GT(resource->read(4990, bytes, gate).count, 0u);
  EXPECT_EQ(items.server.requests().size(), 1u);
}

TEST(Streaming, ReportsAnErrorForOtherContent) {
  Items items;
  items.server.script("/page", {{sized("<html><body>" + std::string(500, ' '))}});
  items.server.script("/gone", {{"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"}});
  for (const auto& [path, code] : {std::pair("/page", -11828), std::pair("/gone", 404)}) {
    const auto item = items.open(path);
    const auto error = Items::wait(*item);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, code);
    EXPECT_EQ(item->failure(), error);
    EXPECT_EQ(item->errorLog().size(), 1u);
  }
}

TEST(Streaming, LoadsTextFiles) {
  Items items;
  items.serveFilm();
  items.server.script("/text", {{sized("WEBVTT")}});
  items.server.script("/gone", {{"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"}});
  const auto item = items.open("/film");
  const auto load = [&](const std::string& path) {
    std::promise<std::string> text;
    const auto handle = item->loadText(
        items.server.url(path), [&](std::string bytes) { text.set_value(std::move(bytes)); });
    return text.get_future().get();
  };
  EXPECT_EQ(load("/text"), "WEBVTT");
  EXPECT_EQ(load("/gone"), "");
  // No callback after cancellation.
  for (int i = 0; i < 50; ++i) {
    auto isDropped = std::make_shared<std::atomic<bool>>(false);
    auto handle = item->loadText(items.server.url("/text"),
                                 [isDropped](const std::string&) { EXPECT_FALSE(*isDropped); });
    handle.reset();
    *isDropped = true;
  }
}

TEST(Streaming, ClosesItemsAtAnyTime) {
  Items items;
  items.serveFilm();
  items.server.script("/hanging", {{"HTTP/1.1 200 OK\r\n", Response::Then::Hang}});
  for (int i = 0; i < 60; ++i) {
    const auto item = items.open(i % 3 == 0 ? "/hanging" : "/film");
    item->whenOpened([](const std::optional<platform::Error>&) {});
    if (i % 2 == 0) item->close();
    if (i % 3 != 1) continue;
    EXPECT_TRUE(i % 2 == 0 || !Items::wait(*item));
    const auto played = item->presentation();
    // A closed item never becomes ready.
    if (!played || i % 2 == 0) continue;
    Items::prepare(*played);
    const auto reader = played->reader(MediaKind::Video);
    ReadGate gate;
    std::thread reading([&] {
      while (reader->next(gate)) reader->seek(12);
    });
    item->close();
    gate.setClosed(true);
    reading.join();
  }
  // Readers may outlive all other objects.
  const auto last = items.open("/film");
  EXPECT_FALSE(Items::wait(*last));
  const auto played = last->presentation();
  items.streaming.reset();
  played->setPosition(3);
  played->reader(MediaKind::Video);
}

}  // namespace
}  // namespace streaming::test
