#include "box/media/workarounds/QtdemuxEncryptedSeek.h"

#include <memory>

#include <gtest/gtest.h>

#include "box/media/ClearKeyDecryptor.h"
#include "box/media/ContentKeys.h"
#include "box/media/GstRef.h"
#include "box/media/WarmUp.h"
#include "box/media/workarounds/Workarounds.h"
#include "tests/box/media/TestMedia.h"

namespace testing_media {
namespace {

constexpr GstClockTime kPatience = 30 * GST_SECOND;

/// Has the key of tests/support/make_encrypted_media.
class OneKey final : public box::ContentKeys {
 public:
  void ask(const platform::Bytes&, Reply reply) override {
    platform::Bytes key;
    for (int index = 0; index < 16; ++index) key.push_back(static_cast<std::byte>(index * 0x11));
    reply(key);
  }
};

bool comes(GstElement* player, GstMessageType wanted) {
  const box::GstRef<GstBus> bus(gst_element_get_bus(player));
  const box::GstRef<GstMessage> message(gst_bus_timed_pop_filtered(
      bus.get(), kPatience, static_cast<GstMessageType>(wanted | GST_MESSAGE_ERROR)));
  return message && GST_MESSAGE_TYPE(message.get()) == wanted;
}

TEST(QtdemuxEncryptedSeek, ASeekBackFailsWithTheVersionsOfTheTable) {
  box::warmUpMedia();
  const box::GstRef<GstElement> player(
      GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("playbin3", nullptr))));
  g_object_set(player.get(), "uri", TestMedia::shared().fileURL("encrypted.mp4").c_str(),
               "video-sink", gst_element_factory_make("fakesink", nullptr), "audio-sink",
               gst_element_factory_make("fakesink", nullptr), nullptr);
  box::Workarounds::shared().installForPlaybin(player.get());
  box::offerContentKeys(player.get(), std::make_shared<OneKey>());
  gst_element_set_state(player.get(), GST_STATE_PAUSED);
  ASSERT_TRUE(comes(player.get(), GST_MESSAGE_ASYNC_DONE));
  EXPECT_TRUE(box::losesDecryptionBySeeks(player.get()));

  bool plays = true;
  for (const int seconds : {2, 0}) {
    plays = plays &&
            gst_element_seek_simple(
                player.get(), GST_FORMAT_TIME,
                static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE),
                seconds * static_cast<gint64>(GST_SECOND)) &&
            comes(player.get(), GST_MESSAGE_ASYNC_DONE);
  }
  gst_element_set_state(player.get(), GST_STATE_PLAYING);
  plays = plays && comes(player.get(), GST_MESSAGE_EOS);
  gst_element_set_state(player.get(), GST_STATE_NULL);
  EXPECT_EQ(plays, !box::Workarounds::shared().isNeeded("QtdemuxEncryptedSeek"));
}

}  // namespace
}  // namespace testing_media
