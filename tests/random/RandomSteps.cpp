#include "tests/random/RandomSteps.h"

#include <string_view>

#include "tests/random/Chance.h"

namespace random_sessions {

namespace {

using Text = std::string;
using Entries = std::vector<std::string>;

/// The state of the generator.
struct Story {
  Chance chance;
  std::size_t media = 0;
  /// Identifiers of items are unique in a session.
  std::size_t identifiers = 0;
};

Text entries(const Entries& all) {
  Text text;
  for (const auto& entry : all) {
    if (entry.empty()) continue;
    text += (text.empty() ? "" : ", ") + entry;
  }
  return "{" + text + "}";
}

/// The words that are not empty, with blanks between them. A braced list is evaluated in order, so
/// that the steps of a seed do not depend on the compiler.
Text step(const Entries& words) {
  Text text;
  for (const auto& word : words) {
    if (!word.empty()) text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// Parts of calls.

/// An entry with a value of the wrong type, in a few of many calls.
Text wrongEntry(Story& story) {
  constexpr const char* kEntries[] = {
      R"("rate": "fast")", R"("uuid": 5)",    R"("volume": "loud")",       R"("muted": [])",
      R"("item": 3)",      R"("cookies": 1)", R"("Start-Position": "12")", R"("userAgent": {})",
  };
  return story.chance.oneIn(25) ? story.chance.pick(kEntries) : "";
}

Text sessionID(Story& story) {
  constexpr const char* kUsual[] = {"1", "1", "1", "2", "3"};
  constexpr const char* kUnusual[] = {"",  "-1", "\"1\"", "null", "4294967297", "1.5",
                                      "7", "8",  "9",     "10",   "true"};
  const Text value =
      story.chance.oneIn(12) ? story.chance.pick(kUnusual) : story.chance.pick(kUsual);
  return value.empty() ? "" : "\"sessionID\": " + value;
}

Text newIdentifier(Story& story) {
  if (story.chance.oneIn(10)) return "";
  return "\"uuid\": \"U" + std::to_string(++story.identifiers) + "\"";
}

/// One of the last few identifiers, or an unknown one.
Text knownIdentifier(Story& story) {
  const auto back = story.chance.below(4);
  const auto number = story.identifiers > back ? story.identifiers - back : 0;
  return "\"uuid\": \"U" + std::to_string(number) + "\"";
}

Text url(Story& story) {
  constexpr const char* kOthers[] = {"$media/missing.mp4", "x-demo://sender/a", "", "no url"};
  const Text name = story.chance.oneIn(15)
                        ? Text(story.chance.pick(kOthers))
                        : "$media/m" + std::to_string(story.chance.below(story.media));
  return "\"Content-Location\": \"" + name + "\"";
}

Text maybe(Story& story, std::size_t oneIn, const char* entry) {
  return story.chance.oneIn(oneIn) ? entry : "";
}

Text itemParameters(Story& story) {
  auto& chance = story.chance;
  constexpr const char* kStarts[] = {"\"Start-Position-Seconds\": 1.5", "\"Start-Position\": 0.5",
                                     "\"Start-Position\": -2",
                                     "\"Start-Date\": {\"$date\": 1767225605}"};
  constexpr const char* kEnds[] = {
      R"("forwardEndTime": {"value": 3, "timescale": 2, "flags": 1, "epoch": 0})",
      R"("reverseEndTime": {"value": 1, "timescale": 1, "flags": 1, "epoch": 0})",
      R"("forwardEndTime": {"value": 1, "timescale": 0, "flags": 17, "epoch": 0})"};
  return entries({url(story), sessionID(story), newIdentifier(story), wrongEntry(story),
                  chance.oneIn(4) ? chance.pick(kStarts) : "",
                  chance.oneIn(8) ? chance.pick(kEnds) : "", maybe(story, 6, R"("rate": 0)"),
                  maybe(story, 8, R"("volume": 0.5)"), maybe(story, 8, R"("audioOnly": true)"),
                  maybe(story, 8, R"("audioOnly": false)"),
                  maybe(story, 20, R"("purchasedMediaKind": "music")"),
                  maybe(story, 20, R"("mz_at": {"$text": "token"}, "buyParams": "b")")});
}

Text trackQualifier(Story& story) {
  constexpr const char* kQualifiers[] = {"1", "{\"qualifier\": 1}", "{}", "\"one\"", "99", ""};
  return story.chance.pick(kQualifiers);
}

// Steps.

Text startVideoStep(Story& story) {
  return step({story.chance.oneIn(6) ? "begin" : "call", "StartVideo", itemParameters(story)});
}

Text startOtherStep(Story& story) {
  constexpr const char* kCalls[] = {"call StartAudio", "call StartPresentation", "begin StartAudio",
                                    "begin StartPresentation"};
  return step({story.chance.pick(kCalls), entries({sessionID(story), wrongEntry(story)})});
}

Text stopStep(Story& story) {
  constexpr const char* kCalls[] = {"StopVideo", "StopVideo", "StopAudio", "StopPresentation"};
  return step({story.chance.oneIn(8) ? "begin" : "call", story.chance.pick(kCalls),
               entries({story.chance.oneIn(6) ? "" : sessionID(story), wrongEntry(story)})});
}

Text informationStep(Story& story) {
  constexpr const char* kActions[] = {R"("showPIN")", R"("incompatibleSender")", R"("hidePIN")"};
  return step({story.chance.oneIn(8) ? "begin" : "call", "Perform", story.chance.pick(kActions),
               entries({maybe(story, 2, R"("pin": "0417")"), wrongEntry(story),
                        maybe(story, 30, R"("TVVorlaneInfoSessionCommand": "other")")})});
}

Text progressStep(Story& story) {
  constexpr const char* kCalls[] = {"ShowProgress",
                                    "HideProgress",
                                    "Activity",
                                    "UpdateAudioProgress 0.4 0.2",
                                    "UpdateAudioProgress 10.5 200",
                                    "UpdateAudioProgress -3 1e300",
                                    "UpdateAudioMetaData {}"};
  return step({"call", story.chance.pick(kCalls)});
}

Text readStep(Story& story) {
  constexpr const char* kNames[] = {"playbackInfo",     "playbackInfo",       "playbackAccessLog",
                                    "playbackErrorLog", "timedMetadataArray", "selectedMediaArray",
                                    "unknown"};
  if (story.chance.oneIn(6))
    return step({R"(call GetProperty "enableTrack")", trackQualifier(story)});
  return "call GetProperty \"" + Text(story.chance.pick(kNames)) + "\"";
}

Text writeStep(Story& story) {
  auto& chance = story.chance;
  constexpr const char* kWrites[] = {
      R"("rate" 0)",
      R"("rate" 1)",
      R"("rate" 1)",
      R"("rate" 2)",
      R"("rate" -1)",
      R"("rate" 8)",
      R"("rate" 1e300)",
      R"("rate" "fast")",
      R"("position" 0)",
      R"("position" 1.9)",
      R"("position" -3)",
      R"("position" 99.5)",
      R"("position" 1e300)",
      R"("position" "end")",
      R"("date" {"$date": 1767225610})",
      R"("date" 5)",
      R"("forwardEndTime" {"value": 5, "timescale": 2, "flags": 1, "epoch": 0})",
      R"("forwardEndTime" {"value": 0, "timescale": 1, "flags": 16, "epoch": 0})",
      R"("reverseEndTime" {"value": 1, "timescale": 2, "flags": 1, "epoch": 0})",
      R"("selectedMediaArray" [{"TVSMediaSelectionCharacteristic": "audible", "TVSMediaSelectionLanguageTag": "de"}])",
      R"("selectedMediaArray" [{}, 3])",
      R"("selectedMediaArray" 3)",
      R"("muted" true)",
      R"("muted" "no")",
      R"("volume" 0.5)",
      R"("volume" -4)",
      R"("volume" 1e300)",
      R"("actionAtItemEnd" 0)",
      R"("actionAtItemEnd" 1)",
      R"("actionAtItemEnd" 2)",
      R"("actionAtItemEnd" 3)",
      R"("metaData" {"title": "A", "elapsedTime": 5})",
      R"("metaData" 4)",
      R"("textMarkupArray" [])",
      R"("textMarkupArray" 1)",
      R"("unknown" 1)",
      R"("uuid" 5)",
  };
  if (chance.oneIn(8))
    return step({R"(call SetProperty "enableTrack" true)", trackQualifier(story)});
  if (chance.oneIn(8))
    return step({R"(call SetProperty "position" 1.25)", entries({knownIdentifier(story)})});
  return step({"call SetProperty", chance.pick(kWrites)});
}

Text playlistStep(Story& story) {
  if (story.chance.below(3) > 0) {
    return step({R"(call Perform "playlistInsert")",
                 entries({sessionID(story), "\"item\": " + itemParameters(story)})});
  }
  return step({R"(call Perform "playlistRemove")",
               entries({sessionID(story), "\"item\": {" + knownIdentifier(story) + "}"})});
}

Text answerStep(Story& story) {
  auto& chance = story.chance;
  if (chance.oneIn(20)) return step({R"(call Perform "newer")", entries({sessionID(story)})});
  constexpr const char* kIdentifiers[] = {"$request.FCUP_Request_RequestID",
                                          "$request.FCUP_Request_RequestID",
                                          "$request.FCUP_Request_RequestID",
                                          "1",
                                          "2",
                                          "-1",
                                          "1.5"};
  const Text identifier = chance.pick(kIdentifiers);
  if (chance.oneIn(4)) {
    return step(
        {R"(call Perform "requestForStreamingKey")",
         entries({sessionID(story),
                  "\"requestContext\": {\"FCUP_Request_RequestID\": " + identifier + "}",
                  maybe(story, 2, R"("appID": {"$text": "a"}, "assetID": {"$text": "b"})")})});
  }
  constexpr const char* kAnswers[] = {
      R"("FCUP_Response_StatusCode": 404)",
      R"("FCUP_Response_Data": {"$text": "bytes"})",
      R"("FCUP_Response_StatusCode": 200, "FCUP_Response_Data": {"$text": "bytes"})",
      R"("FCUP_Response_StatusCode": 302, "FCUP_Response_Headers": {"Location": "$media/m0"})",
      R"("FCUP_Response_StatusCode": 302)",
      R"("FCUP_Response_StatusCode": "200")",
  };
  return step({R"(call Perform "failedURLResponse")",
               entries({sessionID(story),
                        chance.oneIn(15) ? "" : "\"FCUP_Response_RequestID\": " + identifier,
                        chance.pick(kAnswers)})});
}

Text inputStep(Story& story) {
  constexpr const char* kInputs[] = {
      "press menu", "press menu",  "press menu", "press select", "press playpause",
      "press up",   "press down",  "press left", "press right",  "press home",
      "swipe left", "swipe right", "swipe up",   "swipe down",
  };
  return story.chance.pick(kInputs);
}

Text hostStep(Story& story) {
  constexpr const char* kSteps[] = {"host accept", "host accept",   "host refuse",
                                    "host never",  "host late 0.5", "host late 4.9",
                                    "host late 6", "host end",      "host close"};
  return story.chance.pick(kSteps);
}

Text deviceStep(Story& story) {
  constexpr const char* kSteps[] = {
      "system sleep",          "system interruption begins", "system interruption ends",
      "system sound",          "system internet off",        "system internet on",
      "system routes speaker", "system routes television",   "system routes none",
      "system media 7",        "system media -1001"};
  return story.chance.pick(kSteps);
}

Text serviceStep(Story& story) {
  constexpr const char* kNames[] = {"power", "notifications", "tokens", "category", "layers"};
  return step({"system", story.chance.oneIn(2) ? "fails" : "works", story.chance.pick(kNames)});
}

Text mediaKeyStep(Story& story) {
  constexpr const char* kKeys[] = {"play",     "pause",   "toggle",     "stop",   "next",
                                   "previous", "skip 10", "skip -5",    "seek 1", "rate 2",
                                   "rate -1",  "rate 0",  "volume 0.3", "rate 4"};
  return step({"system remote", story.chance.pick(kKeys)});
}

Text timeStep(Story& story) {
  constexpr const char* kTimes[] = {"1ms",  "50ms", "100ms", "299ms", "300ms", "1s",
                                    "1.2s", "2s",   "4.7s",  "5s",    "15s",   "31s"};
  return step({"advance", story.chance.pick(kTimes)});
}

struct StepKind {
  std::size_t weight;
  Text (*make)(Story&);
};

constexpr StepKind kKinds[] = {
    {10, startVideoStep}, {6, startOtherStep}, {10, stopStep},  {4, informationStep},
    {3, progressStep},    {6, readStep},       {12, writeStep}, {8, playlistStep},
    {8, answerStep},      {10, inputStep},     {3, hostStep},   {3, deviceStep},
    {1, serviceStep},     {3, mediaKeyStep},   {20, timeStep},
};

// Media.

Text requests(Story& story) {
  constexpr const char* kRequests[] = {
      R"({"url": "x-demo://sender/part"})", R"({"url": "x-demo://sender/part", "position": 0.5})",
      R"({"url": "x-demo://sender/key", "kind": "key"})",
      R"({"url": "x-demo://sender/key", "kind": "key", "position": 0.75})",
      R"({"url": "x-demo://sender/key", "kind": "key", "keyFailure": -12})"};
  Text list = story.chance.pick(kRequests);
  if (story.chance.oneIn(2)) list += Text(", ") + story.chance.pick(kRequests);
  return "\"requests\": [" + list + "]";
}

Text medium(Story& story) {
  constexpr const char* kDurations[] = {"1", "2", "2.5", "100", "0.25"};
  constexpr const char* kDelays[] = {"0", "0.1", "0.5", "20"};
  auto& chance = story.chance;
  return step(
      {"media", "m" + std::to_string(story.media++),
       entries(
           {Text("\"duration\": ") + chance.pick(kDurations),
            Text("\"loadDelay\": ") + chance.pick(kDelays), maybe(story, 3, R"("seekDelay": 0.25)"),
            maybe(story, 6, R"("live": 10)"), maybe(story, 6, R"("dates": true)"),
            maybe(story, 4, R"("options": true)"), maybe(story, 6, R"("sound": true)"),
            maybe(story, 3, R"("stalls": [[0.5, 0.75], [1.5, 3]])"),
            maybe(story, 6, R"("failure": [0.5, -1005])"),
            maybe(story, 8, R"("loadFailure": -1100)"), chance.oneIn(3) ? requests(story) : ""})});
}

}  // namespace

std::vector<std::string> randomSteps(std::uint64_t seed, std::size_t calls) {
  Story story{Chance(seed)};
  std::vector<std::string> steps;
  for (auto count = 1 + story.chance.below(4); count > 0; --count) steps.push_back(medium(story));

  // A kind has no steps in some sessions, and many in others.
  constexpr std::size_t kFactors[] = {0, 1, 1, 1, 4};
  std::vector<std::size_t> weights;
  std::size_t total = 0;
  for (const auto& kind : kKinds) {
    weights.push_back(kind.weight * story.chance.pick(kFactors));
    total += weights.back();
  }
  for (std::size_t count = 0; count < calls && total > 0; ++count) {
    std::size_t kind = 0;
    for (auto place = story.chance.below(total); place >= weights[kind]; ++kind)
      place -= weights[kind];
    steps.push_back(kKinds[kind].make(story));
  }
  // Lets sessions end by themselves.
  if (story.chance.oneIn(2)) steps.emplace_back("advance 1min");
  return steps;
}

}  // namespace random_sessions
