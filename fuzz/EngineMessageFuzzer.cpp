// Messages between the box and a media process.

#include <string>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/support/FuzzTarget.h"
#include "fuzz/support/RandomValue.h"
#include "media/link/EngineMessages.h"
#include "media/link/LinkSocket.h"
#include "media/link/TextMirror.h"
#include "media/output/SubtitleCues.h"
#include "platform/media/TimedMetadataItem.h"

namespace fuzz {
namespace {

std::string textOfMessage(const std::vector<std::byte>& message) {
  return {reinterpret_cast<const char*>(message.data()), message.size()};
}

void readCommand(Bytes input) {
  const auto command = media::decodeCommand(std::as_bytes(input));
  if (!command) return;
  const auto message = media::encode(*command);
  const auto again = media::decodeCommand(message);
  require(again.has_value(), "an encoded command can be decoded");
  require(media::encode(*again) == message, "encoding keeps a command");
}

void readEvent(Bytes input) {
  const auto event = media::decodeEvent(std::as_bytes(input));
  if (!event) return;
  const auto message = media::encode(*event);
  const auto again = media::decodeEvent(message);
  require(again.has_value(), "an encoded event can be decoded");
  require(media::encode(*again) == message, "encoding keeps an event");
  if (const auto* const text = std::get_if<media::TextEvent>(&*event)) {
    media::TextMirror mirror;
    mirror.apply(text->change);
    static_cast<void>(mirror.of(text->change.identity)->textAt(1));
  }
}

void readLink(Bytes input) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) != 0)
    failTarget("socketpair() works");
  media::LinkSocket link(ends[1]);
  std::size_t sent = 0;
  std::size_t received = 0;
  auto state = media::LinkSocket::State::Open;
  const auto count = [&](std::span<const std::byte> message) {
    constexpr std::size_t kHeaderBytes = 4;
    received += kHeaderBytes + message.size();
    require(message.size() <= media::LinkSocket::kMessageLimit, "a message is limited");
    require(received <= sent, "only bytes that were sent are received");
  };
  while (!input.empty() && state == media::LinkSocket::State::Open) {
    const Bytes part = takeBytes(input, 1 + std::size_t{8} * takeByte(input));
    sent += part.size();
    if (send(ends[0], part.data(), part.size(), MSG_NOSIGNAL) < 0) break;
    state = link.read(count);
  }
  close(ends[0]);
  if (state == media::LinkSocket::State::Open) link.read(count);
}

media::SubtitleCue randomCue(Random& random) {
  media::SubtitleCue cue;
  cue.start = static_cast<double>(random.below(10));
  cue.duration = random.oneIn(3) ? media::SubtitleCue::kUntilNext : 2;
  cue.text = randomText(random);
  for (std::size_t left = random.below(4); left > 0; --left) {
    media::SubtitleSpan& span = cue.spans.emplace_back();
    span.begin = random.below(8);
    span.end = random.below(64);
    span.element = "c";
    span.classes = {"yellow"};
    span.annotation = randomText(random);
    for (std::size_t moments = random.below(3); moments > 0; --moments)
      span.moments.push_back({static_cast<media::SpanMoment::Kind>(random.below(2)),
                              static_cast<double>(random.below(9)),
                              {}});
  }
  if (random.oneIn(2)) cue.layout.line = static_cast<int>(random.next());
  if (random.oneIn(2)) cue.layout.region = media::CueRegion{};
  if (random.oneIn(4)) {
    const int width = static_cast<int>(random.below(8));
    const int height = static_cast<int>(random.below(8));
    cue.images.push_back({64, 64, 1, 1, width, height,
                          std::vector<std::uint32_t>(static_cast<std::size_t>(width * height))});
  }
  return cue;
}

platform::MediaFacts randomFacts(Random& random) {
  platform::MediaFacts facts;
  facts.duration = static_cast<double>(random.below(100));
  facts.seekable = {{0, 1}, {2, 3}};
  facts.bufferingPercent = static_cast<int>(random.below(120));
  facts.tracks.resize(random.below(5), {1, "audio", "mp4a", true});
  facts.selectionGroups.resize(random.below(3));
  for (auto& each : facts.selectionGroups) {
    each.options.resize(random.below(4));
    each.selected = random.below(4);
  }
  std::vector<platform::TimedMetadataItem> items(random.below(3));
  for (auto& each : items) each.value = randomValue(random, 3);
  facts.timedMetadata = std::move(items);
  facts.chapters.resize(random.below(4));
  facts.title = randomText(random);
  return facts;
}

media::EngineEvent randomEvent(Random& random) {
  media::TextChange change;
  switch (random.below(9)) {
    case 0:
      return media::HelloEvent{randomText(random)};
    case 1:
      return media::PlaybackEvent{.rate = 1, .error = {"domain", 1, randomText(random), {}, {}}};
    case 2:
      return media::FactsEvent{1, random.oneIn(2), randomFacts(random)};
    case 3:
      return media::AccessLogEvent{1, randomArray(random)};
    case 4:
      return media::ErrorLogEvent{1, {{{1}, randomText(random), {"domain", 1, {}, {}, {}}}}};
    case 5:
      return media::PositionEvent{1, true, 1, 1, 0, 10, 1000};
    case 6:
      return media::ItemRequestEvent{1, 2, true, randomText(random), randomDictionary(random)};
    case 7:
      return media::SoundEvent{};
    default:
      change.identity = random.below(3) + 1;
      change.kind = static_cast<media::TextChange::Kind>(random.below(9));
      change.source = static_cast<media::SubtitleCues::Source>(random.below(4));
      for (std::size_t left = random.below(5); left > 0; --left)
        change.cues.push_back(std::make_shared<media::SubtitleCue>(randomCue(random)));
      return media::TextEvent{change};
  }
}

media::EngineCommand randomCommand(Random& random) {
  switch (random.below(7)) {
    case 0: {
      media::LoadCommand load;
      load.item = {randomText(random), {"trait"}, randomDictionary(random), std::nullopt};
      if (random.oneIn(2)) load.item.purchase = randomDictionary(random);
      load.load.startSeconds = randomDouble(random);
      return load;
    }
    case 1:
      return media::PlayCommand{randomDouble(random)};
    case 2:
      return media::SeekCommand{randomDouble(random), 1};
    case 3:
      return media::EndTimesCommand{randomDouble(random), randomDouble(random)};
    case 4:
      return media::VolumeCommand{static_cast<float>(random.below(3)), true};
    case 5:
      return media::SelectCommand{randomText(random), randomText(random)};
    default: {
      media::ItemResponseCommand response{random.next(), std::nullopt, std::nullopt};
      if (random.oneIn(2)) response.response = platform::ResourceResponse{};
      if (random.oneIn(2))
        response.error = platform::Error{randomText(random), 1, randomText(random), {}, {}};
      return response;
    }
  }
}

void mutateCommand(std::string& input, Random& random) {
  input = textOfMessage(media::encode(media::NumberedCommand{1, randomCommand(random)}));
}

void mutateEvent(std::string& input, Random& random) {
  input = textOfMessage(media::encode(randomEvent(random)));
}

const Registration engineCommand({"EngineCommand", &readCommand, {}, &mutateCommand});
const Registration engineEvent({"EngineEvent", &readEvent, {}, &mutateEvent});
// A message of 32 MiB may be announced, and memory is allocated as its bytes arrive.
const Registration engineLink({"EngineLink", &readLink, {}});

}  // namespace
}  // namespace fuzz
