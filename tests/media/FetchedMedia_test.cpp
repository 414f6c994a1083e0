// Media from servers and from senders, played to the end.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>

#include <gtest/gtest.h>

#include "platform/media/MediaItemKeys.h"
#include "platform/media/MediaLogKeys.h"
#include "platform/media/PendingRequests.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using platform::MediaErrorCode;
using platform::ResourceResponse;
using platform::URLErrorCode;

std::shared_ptr<const platform::Bytes> textBytesOf(const std::string& text) {
  platform::Bytes bytes(text.size());
  std::transform(text.begin(), text.end(), bytes.begin(),
                 [](char letter) { return static_cast<std::byte>(letter); });
  return std::make_shared<const platform::Bytes>(std::move(bytes));
}

std::string clipContent(const std::string& name) {
  const std::string path = TestMedia::shared().fileURL(name).substr(std::string("file://").size());
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

const std::string kMediaKey = [] {
  std::string key;
  for (int byte = 0; byte < 16; ++byte) key += static_cast<char>(byte * 0x11);
  return key;
}();

/// Near the end: other tests play the rest.
constexpr double kStart = 2.4;

/// An item whose sender responds at once: with the contents of clips, and with keys of a table.
class SentItem final : public TVSURLMediaItem {
 public:
  explicit SentItem(std::string url) : TVSURLMediaItem(std::move(url), {}) {}

  bool loadResourceForRequest(const std::shared_ptr<TVSResourceLoadingRequest>& request) override {
    requestedURLs.push_back(request->url());
    const std::string name = request->url().substr(request->url().rfind('/') + 1);
    const std::string content = clipContent(name);
    // With data, the status code is ignored.
    request->finishLoading({.response = platform::HTTPResponse{request->url(), 404, "HTTP/1.1", {}},
                            .data = content.empty() ? nullptr : textBytesOf(content),
                            .renewalDate = {},
                            .redirectURL = {}});
    return true;
  }

  void loadStreamingKeyForRequest(const std::shared_ptr<TVSSecureKeyRequest>& request) override {
    requestedURLs.push_back(request->url());
    const auto& details = request->dictionaryRepresentation();
    EXPECT_EQ(details.string(platform::kCustomURLProviderRequestKindKey),
              std::string(platform::kCustomURLProviderRequestKindKeyRequest));
    answer = [this, request] {
      ResourceResponse response;
      response.data = textBytesOf(key);
      request->finishLoading(response);
    };
    if (respondsToKeyRequests) answer();
  }

  bool respondsToKeyRequests = true;
  std::function<void()> answer;  // answers the last key request
  std::string key = kMediaKey;
  std::vector<std::string> requestedURLs;
};

class FetchedMedia : public testing::Test {
 protected:
  std::shared_ptr<SentItem> load(const std::string& url,
                                 const std::function<void(SentItem&)>& prepare = nullptr) {
    auto item = std::make_shared<SentItem>(url);
    if (prepare) prepare(*item);
    platform::MediaLoad load;
    load.item = item;
    // Encrypted media that cannot be sought are played from the beginning.
    load.startSeconds = kStart;
    harness.load(url, load);
    return item;
  }
  std::string outcome() {
    harness.waitUntil([this] { return harness.count("end") > 0 || harness.error(); });
    if (!harness.error()) return "end";
    return std::to_string(harness.error()->code);
  }

  EngineHarness harness;
};

std::string code(URLErrorCode value) { return std::to_string(static_cast<std::int64_t>(value)); }
std::string code(MediaErrorCode value) { return std::to_string(static_cast<std::int64_t>(value)); }

TEST_F(FetchedMedia, EndAccordingToTheResponsesOfTheSender) {
  const TestMedia& media = TestMedia::shared();
  const std::function<void(SentItem&)> nothing;
  const struct {
    std::string url;
    std::function<void(SentItem&)> prepare;
    std::string outcome;
    bool hasRequests;
  } cases[] = {
      {"x-demo://sender/encrypted.m3u8", nothing, "end", true},
      {"x-demo://missing.mp4", nothing, "404", true},
      {media.url("clip.mp4"), nothing, "end", false},
      {media.url("encrypted.m3u8"), nothing, "end", true},
      {media.url("encrypted.m3u8"), [](SentItem& item) { item.key = kMediaKey.substr(1); },
       code(MediaErrorCode::ContentNotAuthorized), true},
      {media.url("encrypted.mpd"), nothing, "end", true},
      {media.url("encrypted.mpd"), [](SentItem& item) { item.key.clear(); },
       code(MediaErrorCode::ContentNotAuthorized), true},
      {media.url("encrypted.mp4"), [](SentItem& item) { item.key = kMediaKey.substr(1); },
       code(MediaErrorCode::ContentNotAuthorized), true},
      {media.url("encrypted.mp4"), nothing, "end", true},
      {media.url("encrypted.mp4"), [](SentItem& item) { item.key.clear(); },
       code(MediaErrorCode::ContentNotAuthorized), true},
      {TestMedia::refusedURL(), nothing, code(URLErrorCode::CannotConnectToHost), false},
      {media.url("status/403"), nothing, "403", false},
  };
  // These files are the contents of the responses.
  for (const char* made : {"clip.mp4", "encrypted.m3u8"}) media.url(made);
  for (const auto& each : cases) {
    SCOPED_TRACE(each.url);
    const auto item = load(each.url, each.prepare);
    EXPECT_EQ(outcome(), each.outcome);
    EXPECT_EQ(!item->requestedURLs.empty(), each.hasRequests);
    EXPECT_EQ(harness.misplacedEvents(), 0);
  }
}

TEST_F(FetchedMedia, SeekWhileWaitingForAKey) {
  const auto item = load(TestMedia::shared().url("encrypted.mpd"),
                         [](SentItem& each) { each.respondsToKeyRequests = false; });
  ASSERT_TRUE(harness.waitUntil([&] { return item->answer != nullptr; }));
  for (const double place : {0.5, 1.5})
    harness.call([&](platform::MediaEngine& engine) { engine.seek(place); });
  harness.runDueTasks();
  item->answer();
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  EXPECT_NEAR(harness.engine().position(), 1.5, 0.5);
  EXPECT_EQ(outcome(), "end");
}

TEST_F(FetchedMedia, PlayOverTLSWithThePreSharedKeyOfTheSender) {
  TestMedia::shared().url("clip.mp4");
  const std::string server =
      "cd " + TestMedia::shared().path("") +
      " && exec openssl s_server -accept 127.0.0.1:0 -naccept 1 -WWW -nocert -tls1_2 -psk 0a0b0c0d"
      " -psk_identity box -cipher PSK-AES128-CBC-SHA256 </dev/null 2>&1";
  for (const bool fits : {true, false}) {
    FILE* const peer = popen(server.c_str(), "r");
    ASSERT_TRUE(peer);
    std::string line;
    for (int letter = 0; !line.starts_with("ACCEPT") || letter != '\n';) {
      if (letter == '\n') line.clear();
      letter = std::fgetc(peer);
      ASSERT_NE(letter, EOF);
      line += static_cast<char>(letter);
    }
    const std::string port = line.substr(line.rfind(':') + 1, line.size() - line.rfind(':') - 2);
    load("https://127.0.0.1:" + port + "/clip.mp4", [&](SentItem& item) {
      item.setMetadata(platform::kMediaItemTLSSettings,
                       platform::Dictionary{
                           {std::string(platform::kTLSSettingsPSKIdentity), *textBytesOf("box")},
                           {std::string(platform::kTLSSettingsPSKSharedSecret),
                            *textBytesOf(fits ? "\x0a\x0b\x0c\x0d" : "\x0a\x0b\x0c\x0e")}});
    });
    EXPECT_EQ(outcome(), fits ? "end" : code(URLErrorCode::SecureConnectionFailed));
    pclose(peer);
  }
}

TEST_F(FetchedMedia, ReportTheirTransfersInTheAccessLog) {
  load(TestMedia::shared().url("clip.mp4"));
  ASSERT_EQ(outcome(), "end");
  const platform::Array log = harness.engine().accessLog();
  ASSERT_EQ(log.size(), 1U);
  const platform::Dictionary& entry = *log[0].asDictionary();
  EXPECT_EQ(entry.string(platform::kAccessLogURI), TestMedia::shared().url("clip.mp4"));
  EXPECT_TRUE(entry.date(platform::kAccessLogDate).has_value());
  EXPECT_GT(entry.number(platform::kAccessLogStartupTime).value().doubleValue(), 0);
  EXPECT_EQ(entry.string("serverAddress"), "127.0.0.1");
  EXPECT_GE(entry.number("requestCount").value().doubleValue(), 1);
  EXPECT_GE(entry.number("bytesTransferred").value().doubleValue(),
            static_cast<double>(clipContent("clip.mp4").size()) / 2);
  EXPECT_NEAR(entry.number("durationWatched").value().doubleValue(), 3 - kStart, 0.5);
}

}  // namespace
}  // namespace testing_media
