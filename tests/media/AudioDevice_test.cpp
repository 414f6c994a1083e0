#include "media/pipeline/AudioDevice.h"

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

namespace media {
namespace {

TEST(AudioDevice, SkipsASoundServerThatDoesNotRespond) {
  gst_init(nullptr, nullptr);
  const char* const before = std::getenv("PULSE_SERVER");
  const std::string kept = before ? before : "";
  setenv("PULSE_SERVER", "unix:/nowhere/native", 1);
  const GstRef<GstElement> sink = AudioDevice().open();
  if (before)
    setenv("PULSE_SERVER", kept.c_str(), 1);
  else
    unsetenv("PULSE_SERVER");
  if (!sink) return;  // no card either
  const std::string factory = GST_OBJECT_NAME(gst_element_get_factory(sink.get()));
  EXPECT_NE(factory, "pulsesink");
  EXPECT_EQ(GST_STATE(sink.get()), GST_STATE_READY) << "it is open";
  gst_element_set_state(sink.get(), GST_STATE_NULL);
}

}  // namespace
}  // namespace media
