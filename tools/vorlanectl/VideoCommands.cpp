#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

#include "tools/vorlanectl/Command.h"
#include "tools/vorlanectl/SenderService.h"

namespace vorlanectl {

namespace {

/// A session that another client stops posts no event. The status of the box is therefore checked
/// at every event and at this interval.
constexpr auto kWaitInterval = std::chrono::seconds(2);

bool isListed(Connection& box, std::uint32_t session) {
  const Json status = box.callBox("Status").read();
  for (const Json& one : status.value("sessions", Json::array())) {
    if (one.is_object() && one.value("sessionID", Json()) == session) return true;
  }
  return false;
}

Json playbackInfo(Connection& box) {
  Answer answer = box.call("GetProperty", [](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', "playbackInfo");
    appendValueOrNone(call, nullptr);
  });
  if (answer.readStatus() != 0) return Json::object();
  const Json value = answer.read();
  return value.empty() || !value[0].is_object() ? Json::object() : value[0];
}

/// Returns the exit status, and prints the error if the item has failed. The "stopped" event has no
/// error, but a failed item stays loaded until the session is stopped.
int reportItem(Connection& box) {
  const Json info = playbackInfo(box);
  if (!info.contains("code")) return kSuccess;
  const auto textAt = [&](const char* key) {
    const Json text = info.value(key, Json());
    return text.is_string() ? text.get<std::string>() : std::string();
  };
  std::string error = textAt("domain") + " " + info["code"].dump();
  for (const char* key : {"TVSLocalizedDescription", "TVSLocalizedFailureReason"})
    if (const std::string text = textAt(key); !text.empty()) error += ": " + text;
  std::fprintf(stderr, "vorlanectl: the item failed: %s\n", error.c_str());
  return kFailure;
}

/// Waits until a session has ended, and returns the exit status. Events without a session ID belong
/// to the playing session.
int waitForEnd(Connection& box, std::uint32_t session, SenderService& service) {
  bool stopped = false;
  bool byUser = false;
  const auto look = [&](const Event& event) {
    service.answer(event);
    stopped = event.name == "stopped" && event.info.value("sessionID", Json(session)) == session;
    byUser = stopped && event.info.contains("userExit");
    return false;
  };
  do {
    box.waitForEvents(look, kWaitInterval);
  } while (!stopped && isListed(box, session));
  return stopped && !byUser ? reportItem(box) : kSuccess;
}

int play(Connection& box, const Arguments& arguments) {
  const std::uint32_t session = newSessionID(arguments);
  Json params = {{"sessionID", session}, {"Content-Location", arguments.words()[0]}};
  if (const auto rate = arguments.number("--rate")) params["rate"] = *rate;
  if (const auto position = arguments.number("--position"))
    params["Start-Position-Seconds"] = *position;
  if (const auto uuid = arguments.text("--uuid")) params["uuid"] = *uuid;
  if (arguments.has("--audio-only")) params["audioOnly"] = true;
  addParameters(params, arguments);

  SenderService service(box, arguments.text("--serve"), arguments.text("--serve-keys"));
  const bool waits =
      arguments.has("--wait") || arguments.has("--serve") || arguments.has("--serve-keys");
  if (waits) box.listen();
  const int status = startSession(box, "StartVideo", params);
  return waits && status == kSuccess ? waitForEnd(box, session, service) : status;
}

int performOnItem(Connection& box, const char* action, const Arguments& arguments, Json item) {
  Json params = sessionParameters(arguments);
  params["item"] = std::move(item);
  Answer answer = box.call("Perform", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', action);
    appendDictionary(call, params);
  });
  return report(answer.readStatus());
}

int queue(Connection& box, const Arguments& arguments) {
  Json item = {{"Content-Location", arguments.words()[0]}};
  const auto uuid = arguments.text("--uuid");
  if (!uuid) throw UsageError("queue needs --uuid");
  item["uuid"] = *uuid;
  addParameters(item, arguments);
  return performOnItem(box, "playlistInsert", arguments, std::move(item));
}

int unqueue(Connection& box, const Arguments& arguments) {
  return performOnItem(box, "playlistRemove", arguments, {{"uuid", arguments.words()[0]}});
}

int stop(Connection& box, const Arguments& arguments) {
  const Json params = sessionParameters(arguments);
  Answer answer =
      box.call("StopVideo", [&](sd_bus_message* call) { appendDictionary(call, params); });
  return report(answer.readStatus());
}

}  // namespace

std::vector<Command> videoCommands() {
  return {
      {"play",
       "URL",
       "starts a session that plays URL, and prints the session ID\n"
       "Returns when the session is on screen, or, with --wait, --serve or --serve-keys, when it "
       "has\n"
       "ended. Then it fails if the item has failed, and prints the error to stderr. Of several "
       "items\n"
       "the last one counts.\n\n"
       "--serve answers the requests for URLs with a custom scheme: scheme://a/b is DIR/a/b. A "
       "file\n"
       "must fit into a message of 16 MiB. The file of --serve-keys has either one key of 16 "
       "bytes,\n"
       "which is used for every request, or JSON: {\"URL or key ID\": \"hex or base64\"}.",
       {{"--rate", "R", "initial rate; 0 starts paused"},
        {"--position", "S", "start position in seconds"},
        {"--uuid", "U", "identifier of the item in events"},
        {"--audio-only", "", "plays without pictures"},
        kParameterOption,
        {"--session", "N", "session ID; default: generated"},
        {"--wait", "", "waits until the session has ended; fails if the item fails"},
        {"--serve", "DIR", "serves custom URL schemes with the files in DIR"},
        {"--serve-keys", "FILE", "serves content keys"}},
       1,
       1,
       play},
      {"queue",
       "URL --uuid U",
       "adds an item to the end of the playlist",
       {{"--uuid", "U", "identifier of the item"}, kParameterOption, kSessionOption},
       1,
       1,
       queue},
      {"unqueue", "UUID", "removes an item from the playlist", {kSessionOption}, 1, 1, unqueue},
      {"stop",
       "",
       "stops the session\nSucceeds even if there is none.",
       {kSessionOption},
       0,
       0,
       stop},
  };
}

}  // namespace vorlanectl
