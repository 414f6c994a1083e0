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
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"
#include "platform/media/MediaEngine.h"
#include "platform/media/MediaFacts.h"
#include "platform/media/TVSResourceLoadingRequest.h"

/// The messages between the box and a media process. Commands go to the media process, events come
/// from it; each has a function that encodes it and one that decodes it and checks everything in
/// it.
namespace media {

/// Of a media item, what an engine reads.
struct ItemDescription {
  std::string url;
  std::vector<std::string> traits;
  platform::Dictionary metadata;
  /// Properties of a purchase; none for other items.
  std::optional<platform::Dictionary> purchase;
};

/// Loads an item, or prepares it as the next one.
struct LoadCommand {
  bool prepares = false;
  /// Which pictures belong to it: see PictureSender.
  std::uint64_t epoch = 0;
  /// Names the item in questions; the same item has the same number.
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
  std::uint64_t serial = 0;  ///< comes back with the event that answers it
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
/// The answer to a QuestionEvent: a response or an error.
struct AnswerCommand {
  std::uint64_t questionID = 0;
  std::optional<platform::ResourceResponse> response;
  std::optional<platform::Error> error;
};
/// Somebody reads what changes without being told.
struct RefreshCommand {};
/// There may be a sound device now where there was none.
struct SoundArrivedCommand {};

using EngineCommand =
    std::variant<LoadCommand, UnloadCommand, CancelPreparationCommand, PlayCommand, PauseCommand,
                 SeekCommand, SeekToDateCommand, EndTimesCommand, VolumeCommand, TrackCommand,
                 SelectCommand, AnswerCommand, RefreshCommand, SoundArrivedCommand>;

/// A command and its number, which an AcknowledgedEvent names.
struct NumberedCommand {
  std::uint64_t number = 0;
  EngineCommand command;
};

/// The process is warm and inside its sandbox.
struct HelloEvent {
  std::string version;
};
/// All commands up to this one have reached the pipeline.
struct AcknowledgedEvent {
  std::uint64_t number = 0;
};
/// A callback of platform::MediaEngineObserver.
struct HappenedEvent {
  enum class Kind { Ready, Play, Pause, Stall, Seek, End, Fail, Facts, Selection };
  Kind kind = Kind::Facts;
  std::uint64_t generation = 0;
  double rate = 1;               ///< of Play
  std::uint64_t seekSerial = 0;  ///< of Ready and Seek: the last seek done; 0: another is under way
  platform::Error error{};       ///< of Fail
  std::string characteristic{};  ///< of Selection
};
struct FactsEvent {
  std::uint64_t generation = 0;
  /// Without: tracks, options, metadata, chapters and title are as they were told last.
  bool hasContents = true;
  platform::MediaFacts facts;
};
struct AccessLogEvent {
  std::uint64_t generation = 0;
  platform::Array entries;
};
/// Where the position is, on the monotonic clock of the machine, which both processes share.
struct PositionEvent {
  std::uint64_t generation = 0;
  bool running = false;
  double seconds = 0;
  double rate = 1;
  double first = 0;  ///< the position never leaves [first, last]
  double last = 0;
  std::int64_t at = 0;  ///< nanoseconds; when it was at `seconds`
};
/// The item is asked for a resource or a key.
struct QuestionEvent {
  std::uint64_t questionID = 0;
  std::uint64_t itemID = 0;
  bool isKey = false;
  std::string url;
  platform::Dictionary details;
};
/// The answer is not needed any more.
struct WithdrawnEvent {
  std::uint64_t questionID = 0;
};
/// What SubtitleCues tells of a change.
struct TextEvent {
  TextChange change;
};
/// The sound server silenced the sound in favour of another, or lost its device.
struct SoundEvent {
  enum class Kind { Interrupted, Lost };
  Kind kind = Kind::Lost;
};

using EngineEvent =
    std::variant<HelloEvent, AcknowledgedEvent, HappenedEvent, FactsEvent, AccessLogEvent,
                 PositionEvent, QuestionEvent, WithdrawnEvent, TextEvent, SoundEvent>;

std::vector<std::byte> encode(const NumberedCommand& command);
std::vector<std::byte> encode(const EngineEvent& event);

/// Nothing when anything in it is wrong.
std::optional<NumberedCommand> decodeCommand(std::span<const std::byte> message);
std::optional<EngineEvent> decodeEvent(std::span<const std::byte> message);

}  // namespace media
