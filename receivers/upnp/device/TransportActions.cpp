#include <utility>

#include "receivers/upnp/device/Actions.h"
#include "receivers/upnp/device/Didl.h"
#include "receivers/upnp/model/Time.h"

namespace upnp {

namespace {

/// Counters are not implemented; this value says so.
constexpr const char* kNoCounter = "2147483647";

struct Output {
  const char* argument;
  const char* variable;
};

/// Answers an action with state variables.
std::function<void(Action&)> variables(LastChange& changes, std::vector<Output> outputs) {
  return [&changes, outputs = std::move(outputs)](Action& action) {
    for (const Output& one : outputs) action.set(one.argument, changes.value(one.variable));
    action.succeed();
  };
}

/// Reads a URI and its metadata, and passes the item on.
std::function<void(Action&)> itemAction(const char* uriArgument, const char* metadataArgument,
                                        const std::function<Failure(Item)>& set) {
  return [=](Action& action) {
    const auto uri = action.text(uriArgument);
    if (!uri) return action.fail(Error::InvalidArgs);
    // Controllers that have no metadata leave it out.
    auto item = readItem(*uri, action.text(metadataArgument).value_or(""));
    if (!item) return action.fail(Error::InvalidArgs);
    action.answer(set(*std::move(item)));
  };
}

void answerPosition(Transport& transport, LastChange& changes, Action& action) {
  transport.readPosition([&changes, action](double seconds) mutable {
    action.set("Track", changes.value("CurrentTrack"));
    action.set("TrackDuration", changes.value("CurrentTrackDuration"));
    action.set("TrackMetaData", changes.value("CurrentTrackMetaData"));
    action.set("TrackURI", changes.value("CurrentTrackURI"));
    action.set("RelTime", formatTime(seconds));
    action.set("AbsTime", formatTime(seconds));
    action.set("RelCount", kNoCounter);
    action.set("AbsCount", kNoCounter);
    action.succeed();
  });
}

}  // namespace

ActionTable transportActions(Transport& transport, LastChange& changes) {
  ActionTable table{
      {"SetAVTransportURI",
       itemAction("CurrentURI", "CurrentURIMetaData",
                  [&](Item item) { return transport.setUri(std::move(item)); })},
      {"SetNextAVTransportURI",
       itemAction("NextURI", "NextURIMetaData",
                  [&](Item item) { return transport.setNextUri(std::move(item)); })},
      {"GetMediaInfo", variables(changes, {{"NrTracks", "NumberOfTracks"},
                                           {"MediaDuration", "CurrentMediaDuration"},
                                           {"CurrentURI", "AVTransportURI"},
                                           {"CurrentURIMetaData", "AVTransportURIMetaData"},
                                           {"NextURI", "NextAVTransportURI"},
                                           {"NextURIMetaData", "NextAVTransportURIMetaData"},
                                           {"PlayMedium", "PlaybackStorageMedium"},
                                           {"RecordMedium", "RecordStorageMedium"},
                                           {"WriteStatus", "RecordMediumWriteStatus"}})},
      {"GetTransportInfo", variables(changes, {{"CurrentTransportState", "TransportState"},
                                               {"CurrentTransportStatus", "TransportStatus"},
                                               {"CurrentSpeed", "TransportPlaySpeed"}})},
      {"GetDeviceCapabilities",
       variables(changes, {{"PlayMedia", "PossiblePlaybackStorageMedia"},
                           {"RecMedia", "PossibleRecordStorageMedia"},
                           {"RecQualityModes", "PossibleRecordQualityModes"}})},
      {"GetTransportSettings",
       variables(changes, {{"PlayMode", "CurrentPlayMode"},
                           {"RecQualityMode", "CurrentRecordQualityMode"}})},
      {"GetCurrentTransportActions", variables(changes, {{"Actions", "CurrentTransportActions"}})},
      {"GetPositionInfo", [&](Action& action) { answerPosition(transport, changes, action); }},
      {"Play",
       [&](Action& action) {
         const auto speed = action.text("Speed");
         action.answer(speed ? transport.play(*speed) : Failure(Error::InvalidArgs));
       }},
      {"Seek",
       [&](Action& action) {
         const auto unit = action.text("Unit");
         const auto target = action.text("Target");
         action.answer(unit && target ? transport.seek(*unit, *target)
                                      : Failure(Error::InvalidArgs));
       }},
      {"SetPlayMode",
       [&](Action& action) {
         const auto mode = action.text("NewPlayMode");
         action.answer(mode ? transport.setPlayMode(*mode) : Failure(Error::InvalidArgs));
       }},
      {"Stop", [&](Action& action) { action.answer(transport.stop()); }},
      {"Pause", [&](Action& action) { action.answer(transport.pause()); }},
      {"Next", [&](Action& action) { action.answer(transport.next()); }},
      {"Previous", [&](Action& action) { action.answer(transport.previous()); }}};
  for (auto& [name, run] : table) {
    run = [run = std::move(run)](Action& action) {
      const auto instance = action.text("InstanceID");
      if (!instance) return action.fail(Error::InvalidArgs);
      if (action.number("InstanceID") != 0) return action.fail(Error::InvalidInstance);
      run(action);
    };
  }
  return table;
}

void runAction(const ActionTable& table, Action action) {
  const auto found = table.find(action.name());
  if (found == table.end()) return action.fail(Error::InvalidAction);
  found->second(action);
}

}  // namespace upnp
