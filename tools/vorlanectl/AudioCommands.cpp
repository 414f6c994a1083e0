#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

int startAudio(Connection& box, const Arguments& arguments) {
  Json params = {{"sessionID", newSessionID(arguments)}};
  addParameters(params, arguments);
  return startSession(box, "StartAudio", params);
}

int stopAudio(Connection& box, const Arguments& arguments) {
  Json params = sessionParameters(arguments);
  addParameters(params, arguments);
  Answer answer =
      box.call("StopAudio", [&](sd_bus_message* call) { appendDictionary(call, params); });
  return report(answer.readStatus());
}

int progress(Connection& box, double elapsed, double duration) {
  Answer answer = box.call("UpdateAudioProgress", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 'd', &elapsed);
    sd_bus_message_append_basic(call, 'd', &duration);
  });
  return report(answer.readStatus());
}

int audio(Connection& box, const Arguments& arguments) {
  const auto& words = arguments.words();
  const bool isProgress = words[0] == "progress";
  if (!isProgress && words[0] != "start" && words[0] != "stop") {
    throw UsageError("audio needs start, progress or stop, not \"" + words[0] + "\"");
  }
  if (words.size() != (isProgress ? 3 : 1)) {
    throw UsageError("usage: vorlanectl audio start|progress ELAPSED DURATION|stop");
  }
  if (!isProgress)
    return words[0] == "start" ? startAudio(box, arguments) : stopAudio(box, arguments);
  if (arguments.has("--session") || arguments.has("--param"))
    throw UsageError("audio progress applies to the current stream and takes no options");
  return progress(box, parseNumber(words[1], "ELAPSED"), parseNumber(words[2], "DURATION"));
}

}  // namespace

std::vector<Command> audioCommands() {
  return {
      {"audio",
       "start|progress|stop",
       "starts, updates or stops a session for streamed audio\n"
       "The box does not play the audio itself. start prints the session ID. progress ELAPSED\n"
       "DURATION sets the position and the duration in seconds.",
       {kSessionOption, kParameterOption},
       1,
       3,
       audio},
  };
}

}  // namespace vorlanectl
