#include <fstream>
#include <ostream>

#include <gtest/gtest.h>

#include "platform/foundation/Error.h"
#include "tests/media/EngineHarness.h"
#include "tests/media/MediaEngineMaker.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using platform::kMediaErrorDomain;
using platform::kURLErrorDomain;
using platform::MediaErrorCode;
using platform::URLErrorCode;

struct BadMedia {
  std::string name;
  std::string url;
  std::string_view domain;
  std::int64_t code;
};

BadMedia urlCase(std::string name, std::string url, URLErrorCode code) {
  return {std::move(name), std::move(url), kURLErrorDomain, static_cast<std::int64_t>(code)};
}

BadMedia mediaCase(std::string name, std::string url, MediaErrorCode code) {
  return {std::move(name), std::move(url), kMediaErrorDomain, static_cast<std::int64_t>(code)};
}

/// Everything that fails without a time-out.
std::vector<BadMedia> badMedia() {
  const TestMedia& media = TestMedia::shared();
  std::ofstream endless(media.path("endless.m3u8"));
  endless << "#EXTM3U\n#EXT-X-TARGETDURATION:1\n";
  for (int line = 0; line < 1'000'000; ++line) endless << "# a line\n";
  std::ofstream(media.path("page.mp4")) << "<!DOCTYPE html>\n<html><p>Please log in</html>";
  media.url("picture.png", "-map 0 -frames:v 1");
  media.url("photo.jpg", "-map 0 -frames:v 1");
  media.url("photo.data", "-map 0 -frames:v 1 -f mjpeg");
  std::ofstream(media.path("itself.m3u8"))
      << "#EXTM3U\n#EXT-X-STREAM-INF:BANDWIDTH=1000000\nitself.m3u8\n";
  return {
      {"missing", media.url("none.mp4"), kURLErrorDomain, 404},
      {"forbidden", media.url("status/403"), kURLErrorDomain, 403},
      {"server error", media.url("status/500"), kURLErrorDomain, 500},
      urlCase("refused", TestMedia::refusedURL(), URLErrorCode::CannotConnectToHost),
      urlCase("unknown host", "http://nowhere.invalid/clip.mp4", URLErrorCode::CannotFindHost),
      urlCase("no TLS there", "https" + media.url("clip.mp4").substr(4),
              URLErrorCode::SecureConnectionFailed),
      urlCase("unknown scheme", "gopher://127.0.0.1/clip.mp4", URLErrorCode::UnsupportedURL),
      urlCase("empty", "", URLErrorCode::BadURL),
      urlCase("no scheme", "clip.mp4", URLErrorCode::BadURL),
      urlCase("blanks", "http://127.0.0.1/a b", URLErrorCode::BadURL),
      urlCase("no host", "http://[bad/clip.mp4", URLErrorCode::BadURL),
      urlCase("huge", "http://127.0.0.1/" + std::string(64 * 1024, 'a'), URLErrorCode::BadURL),
      urlCase("missing file", "file:///nowhere/clip.mp4", URLErrorCode::FileDoesNotExist),
      urlCase("endless playlist", media.url("endless.m3u8"), URLErrorCode::BadServerResponse),
      mediaCase("playlist of itself", media.url("itself.m3u8"),
                MediaErrorCode::FormatNotRecognized),
      mediaCase("text", media.url("text.mp4"), MediaErrorCode::FormatNotRecognized),
      mediaCase("a page", media.url("page.mp4"), MediaErrorCode::FormatNotRecognized),
      mediaCase("a picture", media.url("picture.png"), MediaErrorCode::FormatNotRecognized),
      mediaCase("a photo", media.url("photo.jpg"), MediaErrorCode::FormatNotRecognized),
      mediaCase("a photo without a type", media.url("photo.data"),
                MediaErrorCode::FormatNotRecognized),
      mediaCase("a photo in a file", media.fileURL("photo.jpg"),
                MediaErrorCode::FormatNotRecognized),
      mediaCase("nothing", media.url("empty.mp4"), MediaErrorCode::FormatNotRecognized),
      mediaCase("truncated", media.url("truncated.mp4"), MediaErrorCode::DecodeFailed),
      mediaCase("truncated file", media.fileURL("truncated.mp4"), MediaErrorCode::DecodeFailed),
  };
}

TEST(BadMedia, FailsOnceWithDomainCodeAndDescription) {
  EngineHarness harness;
  for (const BadMedia& each : badMedia()) {
    SCOPED_TRACE(each.name);

    harness.load(each.url);
    ASSERT_TRUE(
        harness.waitUntil([&] { return harness.error().has_value(); }, std::chrono::seconds(10)))
        << "earlier than the time-out";
    EXPECT_EQ(harness.error()->domain, each.domain);
    EXPECT_EQ(harness.error()->code, each.code);
    EXPECT_TRUE(harness.error()->localizedDescription.value_or("").ends_with("."));
    EXPECT_EQ(harness.events(), std::vector<std::string>{"fail"});
    EXPECT_EQ(harness.frame(), nullptr);
    EXPECT_EQ(harness.engine().position(), 0);
  }
  // The engine still works.
  harness.load(TestMedia::shared().url("clip.mp4"));
  EXPECT_TRUE(harness.waitForEvent("play 1"));
  EXPECT_EQ(harness.misplacedEvents(), 0);
}

TEST(BadMedia, CallsAfterAFailureDoNothing) {
  EngineHarness harness;
  harness.load(TestMedia::shared().url("text.mp4"));
  ASSERT_TRUE(harness.waitForEvent("fail"));
  harness.call([](platform::MediaEngine& engine) {
    engine.play(2);
    engine.seek(1);
    engine.pause();
    engine.setTrackEnabled(1, false);
    engine.selectOption("audible", std::nullopt);
    engine.setVolume(0.5f);
  });
  // An event of the next load proves that the calls have been handled.
  harness.load(TestMedia::shared().url("clip.mp4"));
  ASSERT_TRUE(harness.waitForEvent("play 1"));
  EXPECT_EQ(harness.count("fail"), 0);
}

/// An engine with short time-outs for transfers.
media::MediaEngineOptions impatient() {
  streaming::StreamingOptions options;
  options.limits.stall = std::chrono::seconds(1);
  options.limits.backOff.fill(std::chrono::milliseconds(10));
  return {.streaming = streaming::Streaming::make(options)};
}

TEST(BadMedia, LostConnectionIsNotTheEnd) {
  EngineHarness harness(makerOf(impatient()));
  harness.load(TestMedia::shared().url("cut/heavy_6s.mp4"));
  ASSERT_TRUE(
      harness.waitUntil([&] { return harness.count("fail") > 0 || harness.count("end") > 0; }));
  EXPECT_EQ(harness.count("end"), 0);
}

}  // namespace
}  // namespace testing_media
