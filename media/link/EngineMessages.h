#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "media/link/TextMessages.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Dictionary.h"
#include "platform/foundation/Error.h"
#include "platform/media/MediaEngine.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSResourceLoadingRequest.h"

/// The messages between the box and a media process. Commands go to the media process, events come
/// from it. encode() and decode…() convert them; decoding checks everything.
namespace media {

/// The data of a media item that an engine needs.
struct ItemDescription {
  std::string url;
  std::vector<std::string> traits;
  platform::Dictionary metadata;
  /// The properties of a purchased item; unset for other items.
  std::optional<platform::Dictionary> purchase;
};

/// Loads an item, or prepares it as the next item.
struct LoadCommand {
  bool prepares = false;
  /// Identifies the pictures of this load; see PictureSender.
  std::uint64_t epoch = 0;
  /// Identifies the item in requests; stable for the same item.
  std::uint64_t itemID = 0;
  ItemDescription item;
  platform::MediaLoad load;  ///< without its item
};
struct UnloadCommand {
  std::uint64_t epoch = 0;
};
struct CancelPreparationCommand {};
struct PlayCommand {
  double rate = 1;
};
struct PauseCommand {};
struct SeekCommand {
  double seconds = 0;
  std::uint64_t serial = 0;  ///< returned in the event that reports the end of the seek
};
struct SeekToDateCommand {
  platform::Date date;
  std::uint64_t serial = 0;
};
struct EndTimesCommand {
  std::optional<double> forwardSeconds;
  std::optional<double> reverseSeconds;
};
struct VolumeCommand {
  float volume = 1;
  bool muted = false;
};
struct TrackCommand {
  std::uint32_t trackID = 0;
  bool enabled = true;
};
struct SelectCommand {
  std::string characteristic;
  std::optional<std::string> identifier;
};
/// The response to an ItemRequestEvent, or an error.
struct ItemResponseCommand {
  std::uint64_t requestID = 0;
  std::optional<platform::ResourceResponse> response;
  std::optional<platform::Error> error;
};
/// Requests an update of facts that the media process does not send by itself.
struct RefreshCommand {};
/// A sound device may be available again.
struct AudioDeviceAddedCommand {};

using EngineCommand =
    std::variant<LoadCommand, UnloadCommand, CancelPreparationCommand, PlayCommand, PauseCommand,
                 SeekCommand, SeekToDateCommand, EndTimesCommand, VolumeCommand, TrackCommand,
                 SelectCommand, ItemResponseCommand, RefreshCommand, AudioDeviceAddedCommand>;

/// A command with its number, which an AcknowledgedEvent refers to.
struct NumberedCommand {
  std::uint64_t number = 0;
  EngineCommand command;
};

/// The process has warmed up and entered its sandbox.
struct HelloEvent {
  std::string version;
};
/// All commands up to this one have been handed to the pipeline.
struct AcknowledgedEvent {
  std::uint64_t number = 0;
};
/// A callback of platform::MediaEngineObserver.
struct PlaybackEvent {
  enum class Kind { Ready, Play, Pause, Stall, Seek, End, Fail, Facts, Selection };
  Kind kind = Kind::Facts;
  std::uint64_t generation = 0;
  double rate = 1;               ///< of Play
  std::uint64_t seekSerial = 0;  ///< of Ready and Seek: the completed seek; 0: one is pending
  platform::Error error{};       ///< of Fail
  std::string characteristic{};  ///< of Selection
};
struct FactsEvent {
  std::uint64_t generation = 0;
  /// False: tracks, options, metadata, chapters and title have not changed and are left out.
  bool hasContents = true;
  platform::MediaFacts facts;
};
struct AccessLogEvent {
  std::uint64_t generation = 0;
  platform::Array entries;
};
/// The position on the monotonic clock, which both processes share.
/// The newest failed requests, at most platform::MediaEngine::kMaxFailedRequests.
struct ErrorLogEvent {
  std::uint64_t generation = 0;
  std::vector<platform::FailedRequest> requests;
};
struct PositionEvent {
  std::uint64_t generation = 0;
  bool running = false;
  double seconds = 0;
  double rate = 1;
  double first = 0;  ///< the position stays in [first, last]
  double last = 0;
  std::int64_t at = 0;  ///< nanoseconds: when the position was `seconds`
};
/// Requests a resource or a key from the item.
struct ItemRequestEvent {
  std::uint64_t requestID = 0;
  std::uint64_t itemID = 0;
  bool isKey = false;
  std::string url;
  platform::Dictionary details;
};
struct CancelRequestEvent {
  std::uint64_t requestID = 0;
};
struct TextEvent {
  TextChange change;
};
/// The sound server has corked the sound for another stream, or lost its device.
struct SoundEvent {
  enum class Kind { Interrupted, Lost };
  Kind kind = Kind::Lost;
};

using EngineEvent = std::variant<HelloEvent, AcknowledgedEvent, PlaybackEvent, FactsEvent,
                                 AccessLogEvent, ErrorLogEvent, PositionEvent, ItemRequestEvent,
                                 CancelRequestEvent, TextEvent, SoundEvent>;

std::vector<std::byte> encode(const NumberedCommand& command);
std::vector<std::byte> encode(const EngineEvent& event);

/// Returns nullopt if any part of the message is invalid.
std::optional<NumberedCommand> decodeCommand(std::span<const std::byte> message);
std::optional<EngineEvent> decodeEvent(std::span<const std::byte> message);

}  // namespace media
