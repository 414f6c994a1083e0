#include "streaming/playback/loading/IndexStore.h"

#include <gtest/gtest.h>

#include "tests/streaming/playback/ScriptedTransfers.h"

namespace streaming::test {
namespace {

TEST(IndexStore, RequestsTheWholePlaylistAfterAFailure) {
  const std::string begin =
      "#EXTM3U\n#EXT-X-TARGETDURATION:2\n#EXT-X-SERVER-CONTROL:CAN-SKIP-UNTIL=12,"
      "CAN-BLOCK-RELOAD=YES\n#EXT-X-MEDIA-SEQUENCE:";
  const std::string segment = "#EXTINF:2,\ns.ts\n";
  ScriptedTransfers network;
  int failures = 0;
  IndexStore store(network, false,
                   {[] {}, [] {}, [&](const std::string&, const platform::Error&) { ++failures; }});
  auto representation = std::make_shared<Representation>();
  representation->id = "v";
  representation->playlistURL = "http://host/v";
  network.add("http://host/v", begin + "5\n" + segment);
  store.load(representation);
  network.advance(0.1);
  ASSERT_NE(store.playlist(*representation), nullptr);
  // After the failure, the reload has no delivery directives.
  network.advance(100);
  network.add("http://host/v?_HLS_msn=6&_HLS_skip=YES",
              begin + "50\n#EXT-X-SKIP:SKIPPED-SEGMENTS=3\n" + segment);
  network.add("http://host/v", begin + "50\n" + segment + segment);
  store.requestUpdate(representation);
  network.advance(10);
  EXPECT_EQ(failures, 1);
  EXPECT_FALSE(store.failure(*representation));
  EXPECT_EQ(store.index(*representation)->last({})->number, 51u);
  // The following reload requests a delta update.
  store.requestUpdate(representation);
  network.advance(0.1);
  EXPECT_EQ(network.requests().back(), "http://host/v?_HLS_msn=52&_HLS_skip=YES");
}

}  // namespace
}  // namespace streaming::test
