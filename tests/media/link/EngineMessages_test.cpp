#include "media/link/EngineMessages.h"

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"
#include "platform/media/TimedMetadataItem.h"

namespace media {
namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;
using Message = std::vector<std::byte>;

platform::MediaFacts someFacts() {
  platform::MediaFacts facts;
  facts.duration = 12.5;
  facts.seekable = {{0, 12.5}};
  facts.loaded = {{0, 3}, {5, 1}};
  facts.bufferingPercent = 40;
  facts.playbackDate = platform::Date{1.5e9};
  facts.tracks = {{7, "audio", "aac", false}};
  facts.selectionGroups = {{"audible", {{"a", "Deutsch", "de", true, {"default"}}}, 0, false}};
  facts.timedMetadata = {{"TIT2", "org.id3", {}, platform::MediaTime::seconds(3), "Titel", {}}};
  facts.chapters = {{4, "Zwei"}};
  facts.title = "Film";
  facts.hasCover = true;
  return facts;
}

std::vector<EngineCommand> everyCommand() {
  platform::MediaLoad load;
  load.generation = 3;
  load.startDate = platform::Date{1e9};
  load.rate = -2;
  const ItemDescription item{"http://a/b",
                             {"trait"},
                             {{"key", Array{1, Value::null(), true}}},
                             Dictionary{{"price", 1.5f}}};
  const platform::ResourceResponse response{
      platform::HTTPResponse{"http://a", 206, "HTTP/1.1", {{"Range", "0-1"}}},
      std::make_shared<platform::Bytes>(3, std::byte{9}), platform::Date{5}, "http://c"};
  return {LoadCommand{true, 5, 6, item, load},
          UnloadCommand{7},
          CancelPreparationCommand{},
          PlayCommand{1.5},
          PauseCommand{},
          SeekCommand{3, 4},
          SeekToDateCommand{{1e9}, 5},
          EndTimesCommand{1, {}},
          VolumeCommand{0.5f, true},
          TrackCommand{2, false},
          SelectCommand{"audible", "a"},
          ItemResponseCommand{1, response, {}},
          ItemResponseCommand{2, {}, platform::Error{"domain", -1, "text", {}, "help"}},
          RefreshCommand{},
          AudioDeviceAddedCommand{}};
}

std::vector<EngineEvent> everyEvent() {
  return {HelloEvent{"1"},
          AcknowledgedEvent{9},
          PlaybackEvent{PlaybackEvent::Kind::Fail, 2, 1, 0, platform::Error{"d", 4, {}, {}, {}}},
          PlaybackEvent{PlaybackEvent::Kind::Selection, 2, 1, 0, {}, "legible"},
          FactsEvent{1, true, someFacts()},
          FactsEvent{1, false, {}},
          AccessLogEvent{1, {Dictionary{{"uri", "http://a"}, {"size", std::uint64_t{1} << 63}}}},
          ErrorLogEvent{1, {{{1e9}, "http://a/1", {"d", 404, "text", {}, {}}}, {}}},
          PositionEvent{1, true, 2.5, -1, 0, 1e300, 12345},
          ItemRequestEvent{1, 2, true, "skd://key", {{"a", Dictionary{{"b", 1}}}}},
          CancelRequestEvent{3},
          TextEvent{{.identity = 4, .kind = SubtitleCues::Change::Kind::Clear}},
          SoundEvent{SoundEvent::Kind::Interrupted}};
}

std::vector<Message> everyMessage() {
  std::vector<Message> messages;
  for (const EngineCommand& each : everyCommand()) messages.push_back(encode({8, each}));
  for (const EngineEvent& each : everyEvent()) messages.push_back(encode(each));
  return messages;
}

TEST(EngineMessages, EncodingAndDecodingPreserveEachMessage) {
  for (const EngineCommand& each : everyCommand()) {
    const Message message = encode({8, each});
    const auto read = decodeCommand(message);
    ASSERT_TRUE(read) << each.index();
    EXPECT_EQ(read->command.index(), each.index());
    EXPECT_EQ(encode(*read), message) << each.index();
  }
  for (const EngineEvent& each : everyEvent()) {
    const Message message = encode(each);
    const auto read = decodeEvent(message);
    ASSERT_TRUE(read) << each.index();
    EXPECT_EQ(encode(*read), message) << each.index();
  }
}

TEST(EngineMessages, RejectsTruncatedAndLongerMessages) {
  for (const EngineEvent& each : everyEvent()) {
    Message message = encode(each);
    for (std::size_t length = 0; length < message.size(); ++length)
      EXPECT_FALSE(decodeEvent(std::span(message).first(length))) << each.index() << ' ' << length;
    message.push_back({});
    EXPECT_FALSE(decodeEvent(message)) << each.index();
  }
}

TEST(EngineMessages, SurvivesRandomChanges) {
  std::mt19937 random(1);
  const std::vector<Message> messages = everyMessage();
  std::size_t refused = 0;
  for (int round = 0; round < 20000; ++round) {
    Message message = messages[random() % messages.size()];
    for (unsigned change = random() % 4; change-- > 0;)
      message[random() % message.size()] = static_cast<std::byte>(random());
    if (!decodeCommand(message)) ++refused;
    if (!decodeEvent(message)) ++refused;
  }
  EXPECT_GT(refused, 20000u);
}

TEST(EngineMessages, RejectsValuesOutOfRange) {
  platform::MediaFacts percent = someFacts();
  percent.bufferingPercent = 101;
  platform::MediaFacts selected = someFacts();
  selected.selectionGroups[0].selected = 1;
  platform::MediaFacts endless = someFacts();
  endless.duration = std::numeric_limits<double>::infinity();
  Value nested = Array{};
  for (int depth = 0; depth < 2 * WireReader::kDepthLimit; ++depth) nested = Array{nested};
  const EngineEvent wrong[] = {
      FactsEvent{1, true, percent},
      FactsEvent{1, true, selected},
      FactsEvent{1, true, endless},
      PositionEvent{.seconds = std::numeric_limits<double>::quiet_NaN()},
      PositionEvent{.first = 2, .last = 1},
      AccessLogEvent{1, Array(std::vector<Value>(WireReader::kValueLimit + 1))},
      ErrorLogEvent{1, std::vector<platform::FailedRequest>(33)},
      ErrorLogEvent{1, {{{std::numeric_limits<double>::infinity()}, "http://a", {}}}},
  };
  for (const EngineEvent& each : wrong) EXPECT_FALSE(decodeEvent(encode(each))) << each.index();
  // WireWriter cuts off nesting that is too deep.
  EXPECT_TRUE(decodeEvent(encode(AccessLogEvent{1, Array{nested}})));
}

TEST(WireReader, RejectsInvalidUTF8AndCountsThatExceedTheMessage) {
  WireWriter writer;
  const std::string broken = "a\xff\0b";
  writer.put(std::as_bytes(std::span(broken))).put("gut\xff");
  const Message bytes = writer.take();
  WireReader raw(bytes);
  EXPECT_EQ(raw.takeText(), "");
  EXPECT_TRUE(raw.failed());
  WireReader reader(bytes);
  EXPECT_EQ(reader.takeBytes().size(), broken.size());
  EXPECT_EQ(reader.takeText(), "gut\xEF\xBF\xBD");
  EXPECT_TRUE(reader.isAtEnd());
  const Message many(8, std::byte{0xff});
  WireReader counting(many);
  EXPECT_EQ(counting.takeCount(std::size_t{1} << 40), 0u);
  EXPECT_TRUE(counting.failed());
}

}  // namespace
}  // namespace media
