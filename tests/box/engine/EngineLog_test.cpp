#include "box/engine/EngineLog.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/MediaLogKeys.h"
#include "sim/LogRecorder.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = media::PlaybackEvent::Kind;

class EngineLogTest : public testing::Test {
 protected:
  EngineLogTest() {
    TVSLogger::initialize("test", {"TVVLMedia"});
    TVSLogger::addSink(_recorder);
  }
  ~EngineLogTest() override { TVSLogger::removeSink(_recorder); }

  /// Texts of the lines since the last call.
  std::vector<std::string> takeTexts() {
    std::vector<std::string> texts;
    for (const auto& line : _recorder->lines()) {
      const std::string prefix = " #TVVLMedia : ";
      const auto begin = line.text.find(prefix) + prefix.size();
      texts.push_back(line.text.substr(begin, line.text.size() - begin - 1));
    }
    _recorder->clear();
    return texts;
  }
  static platform::Array accessLog(int requests, int bytes, double watchedSeconds) {
    platform::Dictionary entry;
    entry.set(platform::kAccessLogRequestCount, requests);
    entry.set(platform::kAccessLogBytesTransferred, bytes);
    entry.set(platform::kAccessLogObservedBitrate, 8);
    entry.set(platform::kAccessLogStallCount, 0);
    entry.set(platform::kAccessLogDurationWatched, watchedSeconds);
    platform::Array entries;
    entries.append(entry);
    return entries;
  }

 private:
  std::shared_ptr<sim::LogRecorder> _recorder = std::make_shared<sim::LogRecorder>();
};

TEST_F(EngineLogTest, LogsCommandsAndEventsButNoPeriodicMessages) {
  media::LoadCommand prepare;
  prepare.prepares = true;
  prepare.item.url = "http://host/a";
  box::logCommand(prepare);
  box::logCommand(media::PlayCommand{2});
  box::logCommand(media::RefreshCommand{});
  box::logCommand(media::SeekCommand{5, 1});
  EXPECT_THAT(takeTexts(),
              ElementsAre("Prepare http://host/a", "Play at rate 2.000000", "Seek to 5.000000"));
  media::PlaybackEvent event;
  event.kind = Kind::Stall;
  box::logEvent(event);
  event.kind = Kind::Facts;
  box::logEvent(event);
  box::logEvent(media::PositionEvent{});
  box::logEvent(media::ItemRequestEvent{3, 1, true, "skd://key", {}});
  EXPECT_THAT(takeTexts(), ElementsAre("Stalled", "Request 3 of the key skd://key"));
  media::FactsEvent facts;
  facts.facts.duration = 3;
  facts.facts.tracks = {{1, "video", "", true}, {2, "audio", "", true}, {3, "audio", "", false}};
  box::logEvent(facts);
  facts.hasContents = false;
  box::logEvent(facts);
  EXPECT_THAT(takeTexts(),
              ElementsAre("Contents: duration 3.000000, tracks: 1 video, 2 audio, 0 text"));
}

TEST_F(EngineLogTest, LogsTransfersOnlyWhenTheyChange) {
  box::logTransfers({}, accessLog(1, 100, 0));
  EXPECT_THAT(takeTexts(), ElementsAre("Transfers: 1 requests, 100 bytes, 8 bit/s, 0 stalls"));
  box::logTransfers(accessLog(1, 100, 0), accessLog(1, 100, 0.5));
  box::logTransfers(accessLog(1, 100, 0.5), {});
  EXPECT_THAT(takeTexts(), IsEmpty());
}

}  // namespace
