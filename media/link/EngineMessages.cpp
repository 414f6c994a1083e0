#include "media/link/EngineMessages.h"

#include <cmath>
#include <type_traits>
#include <utility>

#include "media/link/FactsCoding.h"
#include "media/link/WireReader.h"
#include "media/link/WireWriter.h"

namespace media {
namespace {

using platform::MediaLoad;

constexpr std::size_t kMaxTraits = 64;

const auto takeMessageText = [](WireReader& reader) { return reader.takeText(); };
const auto takeMessageDictionary = [](WireReader& reader) { return reader.takeDictionary(); };

// put() and take() of a message have to match.

void put(WireWriter& writer, const ItemDescription& item) {
  writer.put(item.url);
  writer.putList(item.traits, [](WireWriter& to, const std::string& each) { to.put(each); });
  writer.put(item.metadata).put(item.purchase);
}

void take(WireReader& reader, ItemDescription& item) {
  item.url = reader.takeText();
  item.traits = reader.takeList(kMaxTraits, takeMessageText);
  item.metadata = reader.takeDictionary();
  item.purchase = reader.takeOptional(takeMessageDictionary);
}

void put(WireWriter& writer, const MediaLoad& load) {
  writer.put(load.generation).put(load.startSeconds).put(load.startFraction).put(load.startDate);
  writer.put(load.forwardEndSeconds).put(load.reverseEndSeconds);
  writer.put(load.playing).put(load.rate).put(load.volume).put(load.muted);
}

void take(WireReader& reader, MediaLoad& load) {
  const auto number = [](WireReader& from) { return from.takeDouble(); };
  load.generation = reader.take<std::uint64_t>();
  load.startSeconds = reader.takeOptional(number);
  load.startFraction = reader.takeOptional(number);
  load.startDate =
      reader.takeOptional([](WireReader& from) { return platform::Date{from.takeDouble()}; });
  load.forwardEndSeconds = reader.takeOptional(number);
  load.reverseEndSeconds = reader.takeOptional(number);
  load.playing = reader.take<bool>();
  load.rate = reader.takeDouble();
  load.volume = static_cast<float>(reader.takeDouble());
  load.muted = reader.take<bool>();
}

void put(WireWriter& writer, const LoadCommand& command) {
  writer.put(command.prepares).put(command.epoch).put(command.itemID);
  put(writer, command.item);
  put(writer, command.load);
}
void take(WireReader& reader, LoadCommand& command) {
  command.prepares = reader.take<bool>();
  command.epoch = reader.take<std::uint64_t>();
  command.itemID = reader.take<std::uint64_t>();
  take(reader, command.item);
  take(reader, command.load);
}

void put(WireWriter& writer, const UnloadCommand& command) { writer.put(command.epoch); }
void take(WireReader& reader, UnloadCommand& command) {
  command.epoch = reader.take<std::uint64_t>();
}

void put(WireWriter&, const CancelPreparationCommand&) {}
void take(WireReader&, CancelPreparationCommand&) {}

void put(WireWriter& writer, const PlayCommand& command) { writer.put(command.rate); }
void take(WireReader& reader, PlayCommand& command) { command.rate = reader.takeDouble(); }

void put(WireWriter&, const PauseCommand&) {}
void take(WireReader&, PauseCommand&) {}

void put(WireWriter& writer, const SeekCommand& command) {
  writer.put(command.seconds).put(command.serial);
}
void take(WireReader& reader, SeekCommand& command) {
  command.seconds = reader.takeDouble();
  command.serial = reader.take<std::uint64_t>();
}

void put(WireWriter& writer, const SeekToDateCommand& command) {
  writer.put(command.date).put(command.serial);
}
void take(WireReader& reader, SeekToDateCommand& command) {
  command.date = {reader.takeDouble()};
  command.serial = reader.take<std::uint64_t>();
}

void put(WireWriter& writer, const EndTimesCommand& command) {
  writer.put(command.forwardSeconds).put(command.reverseSeconds);
}
void take(WireReader& reader, EndTimesCommand& command) {
  const auto number = [](WireReader& from) { return from.takeDouble(); };
  command.forwardSeconds = reader.takeOptional(number);
  command.reverseSeconds = reader.takeOptional(number);
}

void put(WireWriter& writer, const VolumeCommand& command) {
  writer.put(command.volume).put(command.muted);
}
void take(WireReader& reader, VolumeCommand& command) {
  command.volume = static_cast<float>(reader.takeDouble());
  command.muted = reader.take<bool>();
}

void put(WireWriter& writer, const TrackCommand& command) {
  writer.put(command.trackID).put(command.enabled);
}
void take(WireReader& reader, TrackCommand& command) {
  command.trackID = reader.take<std::uint32_t>();
  command.enabled = reader.take<bool>();
}

void put(WireWriter& writer, const SelectCommand& command) {
  writer.put(command.characteristic).put(command.identifier);
}
void take(WireReader& reader, SelectCommand& command) {
  command.characteristic = reader.takeText();
  command.identifier = reader.takeOptional(takeMessageText);
}

void put(WireWriter& writer, const platform::ResourceResponse& response) {
  writer.put(response.response.has_value());
  if (response.response)
    writer.put(response.response->url)
        .put(static_cast<std::int32_t>(response.response->statusCode))
        .put(response.response->httpVersion)
        .put(response.response->headers);
  writer.put(response.data != nullptr);
  if (response.data) writer.put(std::span<const std::byte>(*response.data));
  writer.put(response.renewalDate).put(response.redirectURL);
}
platform::ResourceResponse takeResponse(WireReader& reader) {
  platform::ResourceResponse response;
  if (reader.take<bool>()) {
    platform::HTTPResponse http;
    http.url = reader.takeText();
    http.statusCode = reader.take<std::int32_t>();
    http.httpVersion = reader.takeText();
    http.headers = reader.takeDictionary();
    response.response = std::move(http);
  }
  if (reader.take<bool>())
    response.data = std::make_shared<const platform::Bytes>(reader.takeBytes());
  response.renewalDate =
      reader.takeOptional([](WireReader& from) { return platform::Date{from.takeDouble()}; });
  response.redirectURL = reader.takeOptional(takeMessageText);
  return response;
}

void put(WireWriter& writer, const ItemResponseCommand& command) {
  writer.put(command.requestID).put(command.response.has_value());
  if (command.response) put(writer, *command.response);
  writer.put(command.error);
}
void take(WireReader& reader, ItemResponseCommand& command) {
  command.requestID = reader.take<std::uint64_t>();
  command.response = reader.takeOptional(takeResponse);
  command.error = reader.takeOptional([](WireReader& from) { return from.takeError(); });
}

void put(WireWriter&, const RefreshCommand&) {}
void take(WireReader&, RefreshCommand&) {}
void put(WireWriter&, const AudioDeviceAddedCommand&) {}
void take(WireReader&, AudioDeviceAddedCommand&) {}

void put(WireWriter& writer, const HelloEvent& event) { writer.put(event.version); }
void take(WireReader& reader, HelloEvent& event) { event.version = reader.takeText(); }

void put(WireWriter& writer, const AcknowledgedEvent& event) { writer.put(event.number); }
void take(WireReader& reader, AcknowledgedEvent& event) {
  event.number = reader.take<std::uint64_t>();
}

void put(WireWriter& writer, const PlaybackEvent& event) {
  writer.put(event.kind).put(event.generation).put(event.rate).put(event.seekSerial);
  writer.put(event.error).put(event.characteristic);
}
void take(WireReader& reader, PlaybackEvent& event) {
  event.kind = reader.takeEnum(PlaybackEvent::Kind::Selection);
  event.generation = reader.take<std::uint64_t>();
  event.rate = reader.takeFinite();
  event.seekSerial = reader.take<std::uint64_t>();
  event.error = reader.takeError();
  event.characteristic = reader.takeText();
}

void put(WireWriter& writer, const FactsEvent& event) {
  writer.put(event.generation).put(event.hasContents);
  putPlaybackFacts(writer, event.facts);
  if (event.hasContents) putContentFacts(writer, event.facts);
}
void take(WireReader& reader, FactsEvent& event) {
  event.generation = reader.take<std::uint64_t>();
  event.hasContents = reader.take<bool>();
  takePlaybackFacts(reader, event.facts);
  if (event.hasContents) takeContentFacts(reader, event.facts);
}

void put(WireWriter& writer, const AccessLogEvent& event) {
  writer.put(event.generation).put(event.entries);
}
void take(WireReader& reader, AccessLogEvent& event) {
  event.generation = reader.take<std::uint64_t>();
  event.entries = reader.takeArray();
}

void put(WireWriter& writer, const ErrorLogEvent& event) {
  writer.put(event.generation);
  writer.putList(event.requests, [](WireWriter& to, const platform::FailedRequest& each) {
    to.put(each.date).put(each.url).put(each.error);
  });
}
void take(WireReader& reader, ErrorLogEvent& event) {
  event.generation = reader.take<std::uint64_t>();
  event.requests = reader.takeList(platform::MediaEngine::kMaxFailedRequests, [](WireReader& from) {
    platform::FailedRequest request;
    request.date = from.takeDate();
    request.url = from.takeText();
    request.error = from.takeError();
    return request;
  });
}

void put(WireWriter& writer, const PositionEvent& event) {
  writer.put(event.generation).put(event.running).put(event.seconds).put(event.rate);
  writer.put(event.first).put(event.last).put(event.at);
}
void take(WireReader& reader, PositionEvent& event) {
  event.generation = reader.take<std::uint64_t>();
  event.running = reader.take<bool>();
  event.seconds = reader.takeFinite();
  event.rate = reader.takeFinite();
  // Infinite if the item has no known end.
  event.first = reader.takeDouble();
  event.last = reader.takeDouble();
  event.at = reader.take<std::int64_t>();
  if (std::isnan(event.first) || std::isnan(event.last) || event.first > event.last) reader.fail();
}

void put(WireWriter& writer, const ItemRequestEvent& event) {
  writer.put(event.requestID).put(event.itemID).put(event.isKey).put(event.url);
  writer.put(event.details);
}
void take(WireReader& reader, ItemRequestEvent& event) {
  event.requestID = reader.take<std::uint64_t>();
  event.itemID = reader.take<std::uint64_t>();
  event.isKey = reader.take<bool>();
  event.url = reader.takeText();
  event.details = reader.takeDictionary();
}

void put(WireWriter& writer, const CancelRequestEvent& event) { writer.put(event.requestID); }
void take(WireReader& reader, CancelRequestEvent& event) {
  event.requestID = reader.take<std::uint64_t>();
}

void put(WireWriter& writer, const TextEvent& event) { write(writer, event.change); }
void take(WireReader& reader, TextEvent& event) {
  if (auto change = readTextChange(reader))
    event.change = std::move(*change);
  else
    reader.fail();
}

void put(WireWriter& writer, const SoundEvent& event) { writer.put(event.kind); }
void take(WireReader& reader, SoundEvent& event) {
  event.kind = reader.takeEnum(SoundEvent::Kind::Lost);
}

template <typename Variant>
void putVariant(WireWriter& writer, const Variant& message) {
  writer.put(static_cast<std::uint8_t>(message.index()));
  std::visit([&](const auto& each) { put(writer, each); }, message);
}

template <typename Variant, std::size_t Index = 0>
Variant takeVariant(WireReader& reader, std::size_t index) {
  if constexpr (Index < std::variant_size_v<Variant>) {
    if (index > Index) return takeVariant<Variant, Index + 1>(reader, index);
    std::variant_alternative_t<Index, Variant> message;
    take(reader, message);
    return message;
  } else {
    reader.fail();
    return {};
  }
}

}  // namespace

std::vector<std::byte> encode(const NumberedCommand& command) {
  WireWriter writer;
  writer.put(command.number);
  putVariant(writer, command.command);
  return writer.take();
}

std::vector<std::byte> encode(const EngineEvent& event) {
  WireWriter writer;
  putVariant(writer, event);
  return writer.take();
}

std::optional<NumberedCommand> decodeCommand(std::span<const std::byte> message) {
  WireReader reader(message);
  NumberedCommand command;
  command.number = reader.take<std::uint64_t>();
  command.command = takeVariant<EngineCommand>(reader, reader.take<std::uint8_t>());
  if (!reader.isAtEnd()) return std::nullopt;
  return command;
}

std::optional<EngineEvent> decodeEvent(std::span<const std::byte> message) {
  WireReader reader(message);
  EngineEvent event = takeVariant<EngineEvent>(reader, reader.take<std::uint8_t>());
  if (!reader.isAtEnd()) return std::nullopt;
  return event;
}

}  // namespace media
