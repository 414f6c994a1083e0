#include "streaming/playback/ItemOpener.h"

#include <gtest/gtest.h>

#include "streaming/playback/UnplayableContent.h"
#include "tests/streaming/playback/ScriptedTransfers.h"

namespace streaming::test {
namespace {

using namespace std::string_literals;

/// Opens an item and describes the result.
struct Opening {
  explicit Opening(ScriptedTransfers::Resource resource) {
    network->add("http://a/item", std::move(resource));
    ItemOpener::Handlers handlers;
    handlers.failed = [this](const platform::Error& error) {
      outcome += "failed " + std::to_string(error.code);
    };
    handlers.ofResource.lost = [this](const platform::Error& error) {
      outcome += " lost " + std::to_string(error.code);
    };
    handlers.isPlain = [this](std::shared_ptr<PlainResource> given) {
      plain = std::move(given);
      outcome += "plain";
    };
    handlers.isManifest = [this](ManifestType type) {
      outcome += type == ManifestType::HLS ? "hls" : "dash";
    };
    handlers.gotManifest = [this](ManifestType, const FetchResult& result) {
      const auto* body = std::get_if<FetchedBody>(&result);
      outcome += body ? " of " + std::to_string(body->bytes.size())
                      : " failed " + std::to_string(std::get<platform::Error>(result).code);
    };
    opening = std::make_shared<ItemOpener>(network, "http://a/item", std::move(handlers));
    opening->start();
    network->advance(100);
  }
  ~Opening() {
    plain.reset();
    // Posted tasks hold references to the network.
    network->run();
  }
  Opening(const Opening&) = delete;
  Opening& operator=(const Opening&) = delete;
  std::shared_ptr<ScriptedTransfers> network = std::make_shared<ScriptedTransfers>();
  std::shared_ptr<ItemOpener> opening;
  std::shared_ptr<PlainResource> plain;
  std::string outcome;
};

struct OpeningCase {
  const char* name;
  std::string body;
  const char* outcome;
};

TEST(ItemOpener, DetectsTheContentType) {
  const std::string playlist = "#EXTM3U\n#EXT-X-TARGETDURATION:4\n";
  const std::string film =
      "\0\0\0\x20"
      "ftypisom"s +
      std::string(10'000, 'a');
  const std::vector<OpeningCase> cases = {
      {"a playlist", playlist, "hls of 32"},
      {"a manifest after a comment",
       "<?xml version=\"1.0\"?><!-- " + std::string(5000, ' ') + "--><MPD></MPD>", "dash of 5040"},
      {"a media file", film, "plain"},
      {"a short media file", film.substr(0, 14), "plain"},
      {"nothing", "", "plain"},
      {"a web page", "\n <!DOCTYPE HTML><html>" + std::string(500, ' '), "failed -11828"},
      {"a short web page", "<html></html>", "failed -11828"},
      {"an image", "\x89PNG\r\n\x1A\n" + std::string(500, 'p'), "failed -11828"},
      {"motion JPEG", "\xFF\xD8\xFF" + std::string(500, 'p'), "plain"},
  };
  for (const OpeningCase& each : cases) {
    for (const double rate : {0.0, 20.0, 2000.0}) {
      SCOPED_TRACE(each.name);
      ScriptedTransfers::Resource resource;
      resource.body = each.body;
      resource.rate = rate > 0 ? std::max(rate, static_cast<double>(each.body.size()) / 50) : 0;
      Opening opening(std::move(resource));
      EXPECT_EQ(opening.outcome, each.outcome);
    }
  }
}

TEST(ItemOpener, ReportsWhyAnItemCannotBeOpened) {
  struct Case {
    const char* name;
    std::string body;
    std::size_t errorAfter;
    const char* outcome;
  };
  const std::vector<Case> cases = {
      {"at once", "", 0, "failed 503"},
      {"in a playlist", "#EXTM3U\n" + std::string(1000, '#'), 500, "hls failed 503"},
      {"in a media file", std::string(1000, 'f'), 500, "plain lost 503"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    ScriptedTransfers::Resource resource;
    resource.body = each.body;
    resource.error = statusError(503);
    resource.errorAfter = each.errorAfter;
    Opening opening(std::move(resource));
    EXPECT_EQ(opening.outcome, each.outcome);
  }
}

TEST(ItemOpener, RejectsAnEndlessPlaylist) {
  ScriptedTransfers::Resource resource;
  resource.body = "#EXTM3U\n" + std::string(9 << 20, '\n');
  Opening opening(std::move(resource));
  EXPECT_EQ(opening.outcome, "hls failed -1011");
}

TEST(ItemOpener, HandsTheTransferToAPlainResource) {
  std::string body = std::string(300'000, 'f');
  body.back() = 'x';
  ScriptedTransfers::Resource resource;
  resource.body = body;
  resource.rate = 100'000;
  Opening opening(std::move(resource));
  ASSERT_TRUE(opening.plain);
  EXPECT_EQ(opening.network->requests().size(), 1u);
  EXPECT_EQ(opening.plain->size(), body.size());
  ReadGate gate;
  std::array<std::byte, 10> bytes{};
  const auto end = opening.plain->read(body.size() - 1, bytes, gate);
  EXPECT_EQ(end.count, 1u);
  EXPECT_EQ(bytes[0], std::byte{'x'});
  // The resource may outlive the opener.
  opening.opening->stop();
  opening.opening.reset();
  EXPECT_EQ(opening.plain->read(0, bytes, gate).count, 10u);
}

}  // namespace
}  // namespace streaming::test
