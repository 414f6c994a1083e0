#include "media/encryption/ClearKeyDecryptor.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "media/elements/ResourcePipeline.h"
#include "media/encryption/SenderContentKeys.h"
#include "media/engine/WarmUp.h"
#include "media/support/GstRef.h"
#include "media/workarounds/Workarounds.h"
#include "tests/media/TestMedia.h"

namespace testing_media {
namespace {

using media::GstRef;
using platform::Bytes;

Bytes bytesOf(std::string_view hex) {
  Bytes bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2)
    bytes.push_back(static_cast<std::byte>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16)));
  return bytes;
}

// See tests/support/make_encrypted_media.
const Bytes kKey = bytesOf("00112233445566778899aabbccddeeff");
const Bytes kKeyID = bytesOf("0123456789abcdef0123456789abcdef");

/// A sender that answers key requests as configured, or never.
class KeySender final {
 public:
  std::shared_ptr<media::SenderContentKeys> keys() {
    return std::make_shared<media::SenderContentKeys>(
        [this](const std::string& url,
               const std::function<void(streaming::ContentResponse)>& reply) {
          {
            const std::lock_guard lock(_mutex);
            _requestedURLs.push_back(url);
          }
          if (onRequest) onRequest();
          if (answer) reply(*answer);
        });
  }
  std::vector<std::string> requestedURLs() const {
    const std::lock_guard lock(_mutex);
    return _requestedURLs;
  }

  std::function<void()> onRequest;
  std::optional<streaming::ContentResponse> answer;

 private:
  mutable std::mutex _mutex;
  std::vector<std::string> _requestedURLs;
};

/// A checksum of all decoded video and audio, in any order. It outlives every pipeline, so that
/// thread sanitizers see the order of accesses.
std::atomic<std::uint64_t> decodedSum;

/// Plays a URL to its end, as fast as possible.
class Playback {
 public:
  Playback(const std::string& url, std::shared_ptr<media::ContentKeys> keys) {
    media::warmUpMedia();
    decodedSum = 0;
    _player = media::makeResourcePipeline(
        {.source = gst_element_make_from_uri(GST_URI_SRC, url.c_str(), nullptr, nullptr),
         .videoSink = _sink(),
         .audioSink = _sink()});
    media::Workarounds::shared().installForPipeline(_player.get());
    media::setContentKeys(_player.get(), std::move(keys));
    gst_element_set_state(_player.get(), GST_STATE_PLAYING);
  }
  ~Playback() { gst_element_set_state(_player.get(), GST_STATE_NULL); }

  /// Returns "end", "error DOMAIN CODE", or "nothing" if neither occurs.
  std::string outcome() {
    const GstRef<GstBus> bus(gst_element_get_bus(_player.get()));
    const auto wanted = static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR);
    const GstRef<GstMessage> message(
        gst_bus_timed_pop_filtered(bus.get(), 60 * GST_SECOND, wanted));
    if (!message) return "nothing";
    if (GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS) return "end";
    GError* parsed = nullptr;
    gst_message_parse_error(message.get(), &parsed, nullptr);
    const GstRef<GError> error(parsed);
    return std::string("error ") + g_quark_to_string(error->domain) + " " +
           std::to_string(error->code);
  }

 private:
  static GstElement* _sink() {
    GstElement* const sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "signal-handoffs", TRUE, "sync", FALSE, nullptr);
    const auto add = +[](GstElement*, GstBuffer* buffer, GstPad*, gpointer) {
      GstMapInfo map;
      if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) return;
      const std::string_view bytes(reinterpret_cast<const char*>(map.data), map.size);
      decodedSum += std::hash<std::string_view>()(bytes);
      gst_buffer_unmap(buffer, &map);
    };
    g_signal_connect(sink, "handoff", G_CALLBACK(add), nullptr);
    return sink;
  }

  GstRef<GstElement> _player;
};

TEST(ClearKeyDecryptor, DecodesTheSameAsFromClearMedia) {
  const TestMedia& media = TestMedia::shared();
  EXPECT_EQ(Playback(media.fileURL("fragmented.mp4"), nullptr).outcome(), "end");
  const std::uint64_t clearSum = decodedSum;
  EXPECT_NE(clearSum, 0U);
  KeySender sender;
  sender.answer.emplace().data = std::make_shared<const Bytes>(kKey);
  EXPECT_EQ(Playback(media.fileURL("encrypted.mp4"), sender.keys()).outcome(), "end");
  EXPECT_EQ(decodedSum, clearSum);
  // Requested once, for both streams.
  EXPECT_EQ(sender.requestedURLs(), std::vector<std::string>{"clearkey:ASNFZ4mrze8BI0VniavN7w"});
}

TEST(ClearKeyDecryptor, StopsWhileWaitingForAKey) {
  KeySender sender;
  std::promise<void> requestedURLs;
  sender.onRequest = [&] { requestedURLs.set_value(); };
  const auto keys = sender.keys();
  auto playback = std::make_unique<Playback>(TestMedia::shared().fileURL("encrypted.mp4"), keys);
  ASSERT_EQ(requestedURLs.get_future().wait_for(std::chrono::seconds(60)),
            std::future_status::ready);
  const auto before = std::chrono::steady_clock::now();
  playback.reset();
  // Otherwise this would last 35 seconds, the time-out for keys.
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(15));
}

}  // namespace
}  // namespace testing_media
