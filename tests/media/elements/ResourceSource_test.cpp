#include "media/elements/ResourceSource.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>

#include <gst/gst.h>
#include <gtest/gtest.h>

#include "media/elements/ResourceExtension.h"
#include "media/elements/ResourcePipeline.h"
#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"

namespace {

using media::GstRef;
using testing_media::TestMedia;

constexpr GstClockTime kLimit = 20 * GST_SECOND;

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A resource in memory. A read returns at most `mostAtOnce` bytes.
class MemoryResource final : public streaming::ResourceReader {
 public:
  explicit MemoryResource(std::string bytes) : _bytes(std::move(bytes)) {}

  std::size_t mostAtOnce = 4000;
  bool seekable = true;
  bool sizeIsKnown = true;
  std::uint64_t icy = 0;
  std::string type;
  streaming::HeaderFields headers;
  std::optional<std::uint64_t> failsAt;
  std::optional<std::uint64_t> blocksAt;
  std::atomic<std::uint64_t> served = 0;
  std::atomic<bool> jumped = false;
  std::atomic<bool> blocked = false;

  std::optional<std::uint64_t> size() const override {
    return sizeIsKnown ? std::optional<std::uint64_t>(_bytes.size()) : std::nullopt;
  }
  bool isSeekable() const override { return seekable; }
  std::string mimeType() const override { return type; }
  streaming::HeaderFields fields() const override { return headers; }
  std::uint64_t icyInterval() const override { return icy; }
  Result read(std::uint64_t offset, std::span<std::byte> into,
              const streaming::ReadGate& gate) override {
    if (failsAt && offset >= *failsAt) return {0, platform::Error::status(7)};
    if (blocksAt && offset >= *blocksAt) {
      const streaming::ReadGate::Waiter waiter(gate, _mutex, _changed);
      std::unique_lock lock(_mutex);
      blocked = true;
      blocked.notify_all();
      _changed.wait(lock, [&] { return gate.isClosed(); });
      return {};
    }
    if (offset != _next) jumped = true;
    if (offset >= _bytes.size()) return {};
    const std::size_t count =
        std::min({into.size(), mostAtOnce, static_cast<std::size_t>(_bytes.size() - offset)});
    std::memcpy(into.data(), _bytes.data() + offset, count);
    served += count;
    _next = offset + count;
    return {count, {}};
  }
  std::vector<streaming::ByteSpan> loaded() const override { return {}; }
  void whenWaiting(std::function<void(bool)>) override {}

 private:
  const std::string _bytes;
  std::uint64_t _next = 0;
  std::mutex _mutex;
  std::condition_variable _changed;
};

/// Plays a resource into sinks that do not synchronize.
class ResourcePlayer {
 public:
  explicit ResourcePlayer(std::shared_ptr<MemoryResource> resource)
      : _pipeline(
            media::makeResourcePipeline({.source = media::makeResourceSource(std::move(resource)),
                                         .videoSink = sink(),
                                         .audioSink = sink()})),
        _bus(gst_element_get_bus(_pipeline.get())) {
    media::Workarounds::shared().installForPipeline(_pipeline.get());
  }
  ~ResourcePlayer() { gst_element_set_state(_pipeline.get(), GST_STATE_NULL); }

  GstElement* element() const { return _pipeline.get(); }
  /// Returns the next message of this type, or an error message, or null after the time-out.
  /// Records tags on the way.
  GstRef<GstMessage> await(GstMessageType type) {
    while (true) {
      GstRef<GstMessage> message(gst_bus_timed_pop_filtered(
          _bus.get(), kLimit,
          static_cast<GstMessageType>(type | GST_MESSAGE_ERROR | GST_MESSAGE_TAG)));
      if (!message || GST_MESSAGE_TYPE(message.get()) != GST_MESSAGE_TAG) return message;
      GstTagList* parsed = nullptr;
      gst_message_parse_tag(message.get(), &parsed);
      const GstRef<GstTagList> tags(parsed);
      for (const char* name : {GST_TAG_TITLE, GST_TAG_ORGANIZATION}) {
        gchar* text = nullptr;
        if (!gst_tag_list_get_string(parsed, name, &text)) continue;
        tagTexts.insert(text);
        g_free(text);
      }
    }
  }
  std::set<std::string> tagTexts;

 private:
  static GstElement* sink() {
    GstElement* const made = gst_element_factory_make("fakesink", nullptr);
    g_object_set(made, "sync", FALSE, nullptr);
    return made;
  }
  const GstRef<GstElement> _pipeline;
  const GstRef<GstBus> _bus;
};

class ResourceSourceTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { media::warmUpMedia(); }
  static std::shared_ptr<MemoryResource> clip(std::string_view name,
                                              std::string_view options = {}) {
    if (options.empty())
      static_cast<void>(TestMedia::shared().url(name));
    else
      static_cast<void>(TestMedia::shared().url(name, options));
    return std::make_shared<MemoryResource>(contentOf(TestMedia::shared().path(name)));
  }
};

/// A source element without a pipeline, to pull from.
struct PullHarness {
  explicit PullHarness(const std::shared_ptr<MemoryResource>& resource)
      : source(GST_ELEMENT(gst_object_ref_sink(media::makeResourceSource(resource)))),
        pad(gst_element_get_static_pad(source.get(), "src")) {}
  ~PullHarness() { gst_element_set_state(source.get(), GST_STATE_NULL); }

  /// Returns the bytes, or '-' and the name of the flow return.
  std::string pull(guint64 offset, guint size) const {
    GstBuffer* buffer = nullptr;
    const GstFlowReturn flow = gst_pad_get_range(pad.get(), offset, size, &buffer);
    if (flow != GST_FLOW_OK) return std::string("-") + gst_flow_get_name(flow);
    const GstRef<GstBuffer> owned(buffer);
    std::string bytes(gst_buffer_get_size(buffer), '\0');
    gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
    return bytes;
  }
  GstSchedulingFlags scheduling(bool& pulls) const {
    const GstRef<GstQuery> query(gst_query_new_scheduling());
    GstSchedulingFlags flags{};
    if (gst_pad_query(pad.get(), query.get()))
      gst_query_parse_scheduling(query.get(), &flags, nullptr, nullptr, nullptr);
    pulls = gst_query_has_scheduling_mode(query.get(), GST_PAD_MODE_PULL) == TRUE;
    return flags;
  }

  const GstRef<GstElement> source;
  const GstRef<GstPad> pad;
};

TEST_F(ResourceSourceTest, TellsWhetherItCanBePulledFrom) {
  struct Case {
    bool seekable, sizeIsKnown;
    std::uint64_t icy;
    bool pulls;
  };
  for (const Case& each : {Case{true, true, 0, true}, Case{false, true, 0, false},
                           Case{true, false, 0, false}, Case{true, true, 8000, false}}) {
    const auto resource = std::make_shared<MemoryResource>("bytes");
    resource->seekable = each.seekable;
    resource->sizeIsKnown = each.sizeIsKnown;
    resource->icy = each.icy;
    const PullHarness harness(resource);
    gst_element_set_state(harness.source.get(), GST_STATE_READY);
    bool pulls = false;
    const GstSchedulingFlags flags = harness.scheduling(pulls);
    EXPECT_EQ(pulls, each.pulls);
    EXPECT_EQ((flags & GST_SCHEDULING_FLAG_SEEKABLE) != 0, each.pulls);
    EXPECT_EQ(flags & GST_SCHEDULING_FLAG_BANDWIDTH_LIMITED, 0);
  }
}

TEST_F(ResourceSourceTest, PullsAnyPlaceAndLessAtTheEnd) {
  const auto resource = std::make_shared<MemoryResource>("0123456789");
  resource->mostAtOnce = 3;
  const PullHarness harness(resource);
  ASSERT_TRUE(gst_pad_activate_mode(harness.pad.get(), GST_PAD_MODE_PULL, TRUE));
  EXPECT_EQ(harness.pull(2, 7), "2345678");
  EXPECT_EQ(harness.pull(0, 1), "0");
  EXPECT_EQ(harness.pull(8, 100), "89");
  EXPECT_EQ(harness.pull(10, 1), "-eos");
  resource->failsAt = 5;
  EXPECT_EQ(harness.pull(4, 4), "-error");
}

TEST_F(ResourceSourceTest, ItsURIHasTheExtensionOfTheForm) {
  const auto uriOf = [](const std::shared_ptr<MemoryResource>& resource) -> std::string {
    const PullHarness harness(resource);
    const GstRef<GstQuery> query(gst_query_new_uri());
    if (!gst_pad_query(harness.pad.get(), query.get())) return "none";
    gchar* parsed = nullptr;
    gst_query_parse_uri(query.get(), &parsed);
    const GstRef<gchar> uri(parsed);
    return parsed;
  };
  EXPECT_TRUE(uriOf(clip("clip.mp4")).ends_with("/media.mp4"));
  EXPECT_TRUE(uriOf(clip("clip.ts")).ends_with("/media.ts"));
  EXPECT_TRUE(uriOf(std::make_shared<MemoryResource>("bytes")).ends_with("/media"));
}

TEST_F(ResourceSourceTest, PlaysLikeAFile) {
  struct Case {
    std::string_view name, options;
    bool seekable = true;
  };
  for (const Case& each :
       {Case{"end_index.mp4", "-map 0 -map 1 -c:v libx264 -g 25 -c:a aac"}, Case{"clip.mp4", {}},
        Case{"clip.ts", {}}, Case{"resource.mkv", "-map 0 -map 1 -c:v libx264 -g 25 -c:a aac"},
        Case{"clip.ts", {}, false}, Case{"clip.mp4", {}, false}}) {
    SCOPED_TRACE(std::string(each.name) + (each.seekable ? "" : ", not seekable"));
    const auto resource = clip(each.name, each.options);
    resource->seekable = each.seekable;
    ResourcePlayer player(resource);
    gst_element_set_state(player.element(), GST_STATE_PAUSED);
    const auto ready = player.await(GST_MESSAGE_ASYNC_DONE);
    ASSERT_TRUE(ready);
    ASSERT_EQ(GST_MESSAGE_TYPE(ready.get()), GST_MESSAGE_ASYNC_DONE);
    if (each.seekable) {
      gint64 duration = 0;
      EXPECT_TRUE(gst_element_query_duration(player.element(), GST_FORMAT_TIME, &duration));
      EXPECT_NEAR(static_cast<double>(duration), 3e9, 2e8);
      EXPECT_TRUE(gst_element_seek_simple(
          player.element(), GST_FORMAT_TIME,
          static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE), 2 * GST_SECOND));
    }
    gst_element_set_state(player.element(), GST_STATE_PLAYING);
    const auto end = player.await(GST_MESSAGE_EOS);
    ASSERT_TRUE(end);
    EXPECT_EQ(GST_MESSAGE_TYPE(end.get()), GST_MESSAGE_EOS);
    EXPECT_TRUE(each.seekable || !resource->jumped);
  }
}

TEST_F(ResourceSourceTest, TellsTheTitlesOfAStation) {
  constexpr std::string_view kBareFrames = "-map 1 -c:a mp3 -id3v2_version 0 -write_xing 0";
  static_cast<void>(TestMedia::shared().url("station.mp3", kBareFrames));
  const std::string sound = contentOf(TestMedia::shared().path("station.mp3"));
  constexpr std::size_t kInterval = 4096;
  std::string stream;
  for (std::size_t at = 0; at < sound.size(); at += kInterval) {
    stream += sound.substr(at, kInterval);
    if (sound.size() - at < kInterval) break;
    std::string title = at == 0 ? "StreamTitle='A song';" : "";
    title.resize((title.size() + 15) / 16 * 16);
    stream += static_cast<char>(title.size() / 16);
    stream += title;
  }
  const auto resource = std::make_shared<MemoryResource>(stream);
  resource->icy = kInterval;
  resource->seekable = false;
  resource->type = "audio/mpeg";
  resource->headers = {{"Icy-Name", "A station"}};
  ResourcePlayer player(resource);
  gst_element_set_state(player.element(), GST_STATE_PLAYING);
  const auto end = player.await(GST_MESSAGE_EOS);
  ASSERT_TRUE(end);
  EXPECT_EQ(GST_MESSAGE_TYPE(end.get()), GST_MESSAGE_EOS);
  EXPECT_TRUE(player.tagTexts.contains("A song"));
  EXPECT_TRUE(player.tagTexts.contains("A station"));
}

TEST_F(ResourceSourceTest, EndsWithAnErrorOrWhenItIsStopped) {
  const auto failing = clip("clip.ts");
  failing->failsAt = 30000;
  ResourcePlayer player(failing);
  gst_element_set_state(player.element(), GST_STATE_PLAYING);
  const auto message = player.await(GST_MESSAGE_EOS);
  ASSERT_TRUE(message);
  ASSERT_EQ(GST_MESSAGE_TYPE(message.get()), GST_MESSAGE_ERROR);
  GError* parsed = nullptr;
  gst_message_parse_error(message.get(), &parsed, nullptr);
  const GstRef<GError> error(parsed);
  EXPECT_TRUE(g_error_matches(parsed, GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_READ));

  for (const bool seekable : {true, false}) {
    const auto waiting = clip("clip.ts");
    waiting->seekable = seekable;
    waiting->blocksAt = 30000;
    ResourcePlayer stopped(waiting);
    gst_element_set_state(stopped.element(), GST_STATE_PLAYING);
    waiting->blocked.wait(false);
    // The destructor must return: the blocked read is cancelled.
  }
}

TEST(ResourceExtension, IsThatOfTheFirstBytes) {
  media::warmUpMedia();
  struct Case {
    const char* name;
    const char* options;
    std::string_view extension;
  };
  for (const Case& each : {
           Case{"clip.mp4", "", ".mp4"},
           {"tone.m4a", "-map 1 -c:a aac", ".m4a"},
           {"h264_opus_two.mkv", "-map 0 -map 1 -map 2 -c:v libx264 -pix_fmt yuv420p -c:a libopus",
            ".mkv"},
           {"vp8_vorbis.webm",
            "-map 0 -map 1 -c:v libvpx -b:v 1M -deadline realtime -c:a libvorbis", ".webm"},
           {"h264_aac.ts", "-map 0 -map 1 -c:v libx264 -pix_fmt yuv420p -g 25 -c:a aac", ".ts"},
           {"mpeg4_mp3.avi", "-map 0 -map 1 -c:v mpeg4 -q:v 2 -c:a libmp3lame", ".avi"},
           {"tone.flac", "-map 1", ".flac"},
           {"tone.opus", "-map 1 -c:a libopus", ".ogg"},
           {"tone.wav", "-map 1", ".wav"},
           {"text.mp4", "", ""},
           {"empty.mp4", "", ""},
       }) {
    SCOPED_TRACE(each.name);
    const std::string_view options = each.options;
    static_cast<void>(options.empty() ? TestMedia::shared().url(each.name)
                                      : TestMedia::shared().url(each.name, options));
    MemoryResource resource(contentOf(TestMedia::shared().path(each.name)));
    EXPECT_EQ(media::extensionOfResource(resource), each.extension);
    resource.seekable = false;
    EXPECT_EQ(media::extensionOfResource(resource), "");
  }
}

}  // namespace
