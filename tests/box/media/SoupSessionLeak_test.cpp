#include <gst/gst.h>
#include <gtest/gtest.h>

#include "box/media/WorkerThreads.h"
#include "tests/box/media/EngineHarness.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

TEST(SoupSessionLeak, SessionsAreFreedCompletely) {
  EngineHarness harness;
  harness.load(TestMedia::shared().url("clip.mp4"));
  ASSERT_TRUE(harness.untilTold("ready"));
  harness.engine().unload();
  ASSERT_TRUE(box::WorkerThreads::waitForAll(std::chrono::seconds(10)));
  const GType type = g_type_from_name("GstSoupSession");
  ASSERT_NE(type, GType{0});
  bool ended = false;
  GObject* const session = G_OBJECT(g_object_new(type, nullptr));
  g_object_set_data_full(session, "end", &ended,
                         [](gpointer data) { *static_cast<bool*>(data) = true; });
  g_object_unref(session);
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace testing_media
