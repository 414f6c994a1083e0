#include "tests/random/CallRules.h"

#include <algorithm>
#include <map>
#include <string_view>

#include "TVVorlane/TVVorlaneURLSession.h"
#include "platform/media/TVSPlaylist.h"

namespace random_sessions {

using platform::Dictionary;
using platform::Value;
using scenarios::Call;
namespace Type = TVVorlaneSessionType;

namespace {

constexpr std::int32_t kBadValue = -6705;
constexpr std::int32_t kNoRequestID = -6708;
constexpr std::int32_t kNoSession = -6718;
constexpr std::int32_t kNotFound = -6727;
constexpr std::int32_t kUnsupported = -6735;
constexpr std::int32_t kWrongType = -6756;
constexpr std::int32_t kFailed = -6700;

using Kind = Value::Kind;

/// The required types of keys and properties that random calls use.
const std::map<std::string, Kind, std::less<>>& kinds() {
  static const std::map<std::string, Kind, std::less<>> table = {
      {"Content-Location", Kind::String},
      {"Start-Date", Kind::Date},
      {"Start-Position", Kind::Number},
      {"actionAtItemEnd", Kind::Number},
      {"appID", Kind::Data},
      {"assetID", Kind::Data},
      {"audioOnly", Kind::Number},
      {"buyParams", Kind::String},
      {"cookies", Kind::Array},
      {"date", Kind::Date},
      {"enableTrack", Kind::Number},
      {"forwardEndTime", Kind::Dictionary},
      {"item", Kind::Dictionary},
      {"metaData", Kind::Dictionary},
      {"muted", Kind::Number},
      {"mz_at", Kind::Data},
      {"purchasedMediaKind", Kind::String},
      {"rate", Kind::Number},
      {"reverseEndTime", Kind::Dictionary},
      {"selectedMediaArray", Kind::Array},
      {"userAgent", Kind::String},
      {"uuid", Kind::String},
      {"volume", Kind::Number},
  };
  return table;
}

bool isValid(const Dictionary& parameters) {
  return std::all_of(parameters.begin(), parameters.end(), [](const auto& entry) {
    const auto kind = kinds().find(entry.first);
    return kind == kinds().end() || entry.second.kind() == kind->second;
  });
}

/// The last session of the first type that has one.
std::shared_ptr<EventRules> lastSession(const Registry& registry,
                                        std::initializer_list<std::int64_t> types,
                                        const Value& number) {
  if (!number.isNone() && !number.asNumber()) return nullptr;
  for (const auto type : types) {
    for (auto each = registry.rbegin(); each != registry.rend(); ++each) {
      if ((*each)->type() != type) continue;
      if (number.isNone() || (*each)->sessionID() == number.asNumber()->wrappedUInt32Value())
        return *each;
    }
  }
  return nullptr;
}

std::uint32_t numberOf(const Dictionary& parameters) {
  const auto number = parameters.number("sessionID");
  return number ? number->wrappedUInt32Value() : 0;
}

CallRule onlyStatus(std::int32_t status) { return {{status}, {}, {}, {}, false}; }

CallRule ruleOfStart(const Dictionary& parameters, std::int64_t type) {
  if (!isValid(parameters)) return onlyStatus(kWrongType);
  return {{0}, {}, type, numberOf(parameters), true};
}

CallRule ruleOfStartVideo(const Dictionary& parameters) {
  const bool audio =
      parameters.boolean("audioOnly") || parameters.string("purchasedMediaKind") == "music";
  return ruleOfStart(parameters, audio ? Type::kAudioOnly : Type::kVideo);
}

CallRule ruleOfStop(const Dictionary& parameters, const std::shared_ptr<EventRules>& session) {
  if (!session) return onlyStatus(0);
  if (!isValid(parameters)) return onlyStatus(kWrongType);
  return {{0}, session, {}, {}, false};
}

CallRule ruleOfInformation(const std::string& action, const Dictionary& parameters,
                           const Registry& registry) {
  const auto shown = lastSession(registry, {Type::kDialog, Type::kPin}, {});
  if (action == "hidePIN") return ruleOfStop(parameters, shown);
  if (!isValid(parameters)) return onlyStatus(kWrongType);
  const auto command = parameters.string("TVVorlaneInfoSessionCommand").value_or(action);
  return {{0}, shown, command == "showPIN" ? Type::kPin : Type::kDialog, {}, false};
}

CallRule ruleOfRead(const Call& call, const Registry& registry) {
  if (!lastSession(registry, {Type::kVideo, Type::kAudioOnly}, {})) return onlyStatus(kNoSession);
  const auto name = call.string(0);
  if (name == "unknown") return onlyStatus(kUnsupported);
  const auto qualifier = call.optional(1);
  const bool names = qualifier.asNumber() || qualifier.asDictionary();
  return onlyStatus(name == "enableTrack" && !names ? kWrongType : 0);
}

CallRule ruleOfWrite(const Call& call, const Registry& registry) {
  if (!lastSession(registry, {Type::kVideo, Type::kAudioOnly}, {})) return onlyStatus(kNoSession);
  const auto name = call.string(0);
  const auto value = call.optional(1);
  if (!isValid(Dictionary{{name, value}})) return onlyStatus(kWrongType);
  if (name == "unknown") return onlyStatus(kUnsupported);
  if (name == "textMarkupArray") return onlyStatus(value.asArray() ? 0 : kBadValue);
  if (name == "position" && !value.asNumber()) return onlyStatus(kWrongType);
  const auto qualifier = call.optional(2);
  const bool names = qualifier.asNumber() || qualifier.asDictionary();
  return onlyStatus(name == "enableTrack" && !names ? kWrongType : 0);
}

bool isInPlaylist(const EventRules& rules, const std::string& uuid) {
  const auto session = std::dynamic_pointer_cast<TVVorlaneURLSession>(rules.session().lock());
  if (!session || !session->playlist()) return false;
  const auto& items = session->playlist()->trackList();
  return std::any_of(items.begin(), items.end(), [&](const auto& item) {
    return item->metadata("TVVorlaneMediaItemMetadataUUID") == Value(uuid);
  });
}

std::int32_t answerStatus(const EventRules& session, const Dictionary& parameters) {
  const auto identifier = parameters.number("FCUP_Response_RequestID");
  if (!identifier) return kNoRequestID;
  const auto status = parameters.number("FCUP_Response_StatusCode");
  if (!parameters.data("FCUP_Response_Data") && (!status || status->int32Value() == 0)) return -1;
  const bool fits = platform::Number(identifier->uint64Value()) == *identifier;
  return fits && session.awaitsAnswer(identifier->uint64Value()) ? 0 : kNotFound;
}

CallRule ruleOfPerform(const Call& call, const Registry& registry) {
  const auto action = call.string(0);
  const auto parameters = call.dictionary(1);
  if (action == "showPIN" || action == "incompatibleSender" || action == "hidePIN")
    return ruleOfInformation(action, parameters, registry);
  const auto session = addressedURLSession(call, registry);
  if (!session) return onlyStatus(kNoSession);
  if (!isValid(parameters)) return onlyStatus(kWrongType);
  const auto item = parameters.dictionary("item").value_or(Dictionary());
  if (action == "playlistInsert") return onlyStatus(isValid(item) ? 0 : kWrongType);
  if (action == "playlistRemove") {
    const bool known = isInPlaylist(*session, item.string("uuid").value_or(""));
    return onlyStatus(known ? 0 : kNotFound);
  }
  if (action == "failedURLResponse") return onlyStatus(answerStatus(*session, parameters));
  // A key request may fail with an error of its own.
  if (action == "requestForStreamingKey") return {};
  return onlyStatus(0);
}

}  // namespace

std::shared_ptr<EventRules> addressedURLSession(const Call& call, const Registry& registry) {
  if (call.method != "Perform") return nullptr;
  return lastSession(registry, {Type::kVideo, Type::kAudioOnly},
                     call.dictionary(1).get("sessionID"));
}

CallRule ruleOf(const Call& call, const Registry& registry) {
  const auto& method = call.method;
  if (method == "GetProperty") return ruleOfRead(call, registry);
  if (method == "SetProperty") return ruleOfWrite(call, registry);
  if (method == "Perform") return ruleOfPerform(call, registry);
  if (method == "ShowProgress" || method == "HideProgress")
    return onlyStatus(lastSession(registry, {Type::kPresentation}, {}) ? 0 : kFailed);
  if (method.starts_with("Update") || method == "Activity") return onlyStatus(0);
  const auto parameters = call.dictionary(0);
  if (method == "StartVideo") return ruleOfStartVideo(parameters);
  if (method == "StartAudio") return ruleOfStart(parameters, Type::kStreamingAudio);
  if (method == "StartPresentation") return ruleOfStart(parameters, Type::kPresentation);
  const auto number = parameters.get("sessionID");
  if (method == "StopVideo")
    return ruleOfStop(parameters, lastSession(registry, {Type::kVideo, Type::kAudioOnly}, number));
  if (method == "StopAudio")
    return ruleOfStop(parameters, lastSession(registry, {Type::kStreamingAudio}, number));
  return ruleOfStop(parameters, lastSession(registry, {Type::kPresentation}, number));
}

}  // namespace random_sessions
