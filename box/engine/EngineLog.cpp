#include "box/engine/EngineLog.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <variant>

#include "platform/foundation/log/TVSLogger.h"
#include "platform/media/MediaLogKeys.h"

namespace box {

namespace {

constexpr std::string_view kMediaLog = "TVVLMedia";

void logMessage(const auto& /*message*/) {}

void logMessage(const media::LoadCommand& command) {
  TVSLogNotice(kMediaLog, "%@ %@", command.prepares ? "Prepare" : "Load", command.item.url);
}
void logMessage(const media::UnloadCommand&) { TVSLogNotice(kMediaLog, "Unload"); }
void logMessage(const media::PlayCommand& command) {
  TVSLogNotice(kMediaLog, "Play at rate %f", command.rate);
}
void logMessage(const media::PauseCommand&) { TVSLogNotice(kMediaLog, "Pause"); }
void logMessage(const media::SeekCommand& command) {
  TVSLogNotice(kMediaLog, "Seek to %f", command.seconds);
}
void logMessage(const media::SeekToDateCommand& command) {
  TVSLogNotice(kMediaLog, "Seek to %@", platform::Value(command.date));
}
void logMessage(const media::SelectCommand& command) {
  TVSLogNotice(kMediaLog, "Select %@ for %@", command.identifier, command.characteristic);
}
void logMessage(const media::ItemResponseCommand& command) {
  TVSLogNotice(kMediaLog, "Response to request %lu, error: %@", command.requestID, command.error);
}

void logMessage(const media::PlaybackEvent& event) {
  using Kind = media::PlaybackEvent::Kind;
  switch (event.kind) {
    case Kind::Ready:
      TVSLogNotice(kMediaLog, "Ready to play");
      break;
    case Kind::Play:
      TVSLogNotice(kMediaLog, "Playing at rate %f", event.rate);
      break;
    case Kind::Pause:
      TVSLogNotice(kMediaLog, "Paused");
      break;
    case Kind::Stall:
      TVSLogNotice(kMediaLog, "Stalled");
      break;
    case Kind::Seek:
      TVSLogNotice(kMediaLog, "Seek completed");
      break;
    case Kind::End:
      TVSLogNotice(kMediaLog, "End reached");
      break;
    case Kind::Fail:
      TVSLogNotice(kMediaLog, "Failed: %@", event.error);
      break;
    case Kind::Selection:
      TVSLogNotice(kMediaLog, "Selection of %@ changed", event.characteristic);
      break;
    case Kind::Facts:
      break;
  }
}
void logMessage(const media::FactsEvent& event) {
  if (!event.hasContents) return;
  const auto count = [&](std::string_view type) {
    return static_cast<int>(
        std::ranges::count(event.facts.tracks, type, &platform::MediaTrack::mediaType));
  };
  TVSLogNotice(kMediaLog, "Contents: duration %f, tracks: %d video, %d audio, %d text",
               event.facts.duration, count("video"), count("audio"), count("text"));
}
void logMessage(const media::ItemRequestEvent& event) {
  TVSLogNotice(kMediaLog, "Request %lu of the %@ %@", event.requestID,
               event.isKey ? "key" : "resource", event.url);
}
void logMessage(const media::CancelRequestEvent& event) {
  TVSLogNotice(kMediaLog, "Request %lu canceled", event.requestID);
}
void logMessage(const media::SoundEvent& event) {
  TVSLogNotice(kMediaLog, "Audio %@",
               event.kind == media::SoundEvent::Kind::Lost ? "device lost" : "interrupted");
}

/// Describes the newest entry of an access log.
std::string transferText(const platform::Array& entries) {
  const auto* entry = entries.empty() ? nullptr : entries[entries.size() - 1].asDictionary();
  if (!entry) return {};
  return platform::formatLog(
      "%@ requests, %@ bytes, %@ bit/s, %@ stalls", entry->get(platform::kAccessLogRequestCount),
      entry->get(platform::kAccessLogBytesTransferred),
      entry->get(platform::kAccessLogObservedBitrate), entry->get(platform::kAccessLogStallCount));
}

}  // namespace

void logTransfers(const platform::Array& previous, const platform::Array& current) {
  if (!TVSLogger::isEnabled(kMediaLog, platform::LogLevel::Notice)) return;
  const std::string text = transferText(current);
  if (!text.empty() && text != transferText(previous))
    TVSLogNotice(kMediaLog, "Transfers: %@", text);
}

void logCommand(const media::EngineCommand& command) {
  std::visit([](const auto& each) { logMessage(each); }, command);
}

void logEvent(const media::EngineEvent& event) {
  std::visit([](const auto& each) { logMessage(each); }, event);
}

}  // namespace box
