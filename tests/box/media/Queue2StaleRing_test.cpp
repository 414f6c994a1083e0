#include "box/media/workarounds/Queue2StaleRing.h"

#include <atomic>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "box/media/GstRef.h"
#include "box/media/workarounds/Workarounds.h"
#include "tests/box/media/EngineHarness.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

using box::GstRef;

constexpr guint kKilo = 1024;
constexpr guint kFileKilos = 256;
constexpr guint64 kRing = guint64{64} * kKilo;
constexpr guint kAhead = 8 * kKilo;

/// A file whose bytes tell where they are, read through a queue with a ring.
class Rig {
 public:
  explicit Rig(bool canMove = true) {
    gst_init(nullptr, nullptr);
    for (guint at = 0; at < kFileKilos * kKilo; ++at)
      _bytes += static_cast<char>((at * 2654435761u) >> 24);
    const std::string path = TestMedia::shared().path("bytes");
    std::ofstream(path, std::ios::binary) << _bytes;
    if (!canMove) _pipe = popen(("cat " + path).c_str(), "r");
    const std::string source =
        canMove ? "filesrc location=" + path : "fdsrc fd=" + std::to_string(fileno(_pipe));
    _pipeline.reset(gst_parse_launch(
        (source + " name=file blocksize=1000 ! queue2 name=queue").c_str(), nullptr));
    const GstRef<GstElement> file(gst_bin_get_by_name(GST_BIN(_pipeline.get()), "file"));
    const GstRef<GstPad> sent(gst_element_get_static_pad(file.get(), "src"));
    gst_pad_add_probe(
        sent.get(), GST_PAD_PROBE_TYPE_EVENT_UPSTREAM,
        [](GstPad*, GstPadProbeInfo* info, gpointer moves) {
          if (GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_SEEK)
            ++*static_cast<std::atomic<int>*>(moves);
          return GST_PAD_PROBE_OK;
        },
        &_moves, nullptr);
    const GstRef<GstElement> queue(gst_bin_get_by_name(GST_BIN(_pipeline.get()), "queue"));
    g_object_set(queue.get(), "ring-buffer-max-size", kRing, "max-size-bytes", kAhead, nullptr);
    if (box::Workarounds::shared().isOn("Queue2StaleRing")) box::watchRing(queue.get());
    _pad.reset(gst_element_get_static_pad(queue.get(), "src"));
    gst_pad_activate_mode(_pad.get(), GST_PAD_MODE_PULL, TRUE);
    gst_element_set_state(_pipeline.get(), GST_STATE_PAUSED);
  }
  ~Rig() {
    gst_element_set_state(_pipeline.get(), GST_STATE_NULL);
    if (_pipe) pclose(_pipe);
  }
  Rig(const Rig&) = delete;
  Rig& operator=(const Rig&) = delete;

  int moves() const { return _moves; }
  GstFlowReturn read(guint kilo) {
    GstBuffer* buffer = nullptr;
    const GstFlowReturn flow = gst_pad_get_range(_pad.get(), guint64{kilo} * kKilo, kKilo, &buffer);
    const GstRef<GstBuffer> owned(buffer);
    if (flow != GST_FLOW_OK) return flow;
    return gst_buffer_memcmp(buffer, 0, &_bytes[kilo * kKilo], kKilo) == 0 ? GST_FLOW_OK
                                                                           : GST_FLOW_CUSTOM_ERROR;
  }

 private:
  std::string _bytes;
  std::atomic<int> _moves = 0;
  FILE* _pipe = nullptr;
  GstRef<GstElement> _pipeline;
  GstRef<GstPad> _pad;
};

TEST(Queue2StaleRing, IsReadAsFarAsItReachesAndElseFetchedAnew) {
  const struct {
    const char* what;
    struct Part {
      guint begin, end;  // in kilobytes
      int moves;         // of the source, so far
    };
    std::vector<Part> parts;
  } cases[] = {
      {"back into what is there", {{0, 200, 0}, {150, 200, 0}}},
      {"back to what is not", {{0, 200, 0}, {0, 90, 1}, {40, 250, 1}, {1, 90, 2}}},
      {"on, and back", {{0, 100, 0}, {200, 240, 1}, {20, 100, 2}, {200, 240, 3}}},
      {"by an index at the end", {{0, 2, 0}, {254, 256, 1}, {2, 200, 2}, {150, 200, 2}, {0, 9, 3}}},
  };
  for (const auto& each : cases) {
    Rig rig;
    for (const auto& part : each.parts) {
      SCOPED_TRACE(std::string(each.what) + " at " + std::to_string(part.begin));
      for (guint kilo = part.begin; kilo < part.end; ++kilo) ASSERT_EQ(rig.read(kilo), GST_FLOW_OK);
      EXPECT_EQ(rig.read(kFileKilos), GST_FLOW_EOS);
      EXPECT_EQ(rig.moves(), part.moves);
    }
  }
}

TEST(Queue2StaleRing, EndsAheadAndFailsBehindWhereTheSourceCannotMove) {
  Rig rig(false);
  EXPECT_EQ(rig.read(0), GST_FLOW_OK);
  EXPECT_EQ(rig.read(220), GST_FLOW_EOS);
  for (guint kilo = 1; kilo < 200; ++kilo) ASSERT_EQ(rig.read(kilo), GST_FLOW_OK);
  EXPECT_EQ(rig.read(150), GST_FLOW_OK);
  EXPECT_EQ(rig.read(1), GST_FLOW_ERROR);
  EXPECT_EQ(rig.read(200), GST_FLOW_OK);
}

// 34 MB a second.
TEST(Queue2StaleRing, ShowsWhatHasBeenPlayedAsItWas) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the tool takes minutes over the ring's bytes; those above are all it could see";
#endif
  EngineHarness harness;
  platform::MediaLoad load;
  load.playing = false;
  load.startSeconds = 0.2;
  harness.load(TestMedia::shared().url("large.mkv",
                                       "-map 0 -t 2 -s 1280x720 -c:v rawvideo -pix_fmt yuv420p"),
               load);
  ASSERT_TRUE(harness.untilTold("pause"));
  ASSERT_TRUE(harness.until([&] { return harness.frame() != nullptr; }));
  const auto picture = [&] {
    const auto& luma = harness.frame()->planes[0];
    return std::string(reinterpret_cast<const char*>(luma.data), luma.stride * std::size_t{720});
  };
  const std::string first = picture();
  harness.call([](auto& engine) { engine.play(1); });
  ASSERT_TRUE(harness.until([&] { return harness.engine().position() > 1.5 || harness.error(); }));
  harness.call([](auto& engine) { engine.pause(); });
  ASSERT_TRUE(harness.untilTold("pause", 1));
  harness.call([](auto& engine) { engine.seek(0.2); });
  ASSERT_TRUE(harness.until([&] { return harness.frame()->time < 0.3 || harness.error(); }));
  EXPECT_TRUE(picture() == first);
}

}  // namespace
}  // namespace testing_media
