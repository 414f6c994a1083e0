#include <chrono>
#include <optional>
#include <string>

#include "tools/vorlanectl/Command.h"
#include "tools/vorlanectl/SenderService.h"

namespace vorlanectl {

namespace {

/// A session that another client stops posts no event: so the box is asked as well, at every event
/// and after this time.
constexpr auto kWaitInterval = std::chrono::seconds(2);

bool isListed(Connection& box, std::uint32_t session) {
  const Json status = box.callBox("Status").read();
  for (const Json& one : status.value("sessions", Json::array())) {
    if (one.is_object() && one.value("sessionID", Json()) == session) return true;
  }
  return false;
}

/// Until one session is over. Events without a session's number are the playing one's.
void waitForEnd(Connection& box, std::uint32_t session, SenderService& service) {
  bool stopped = false;
  const auto look = [&](const Event& event) {
    service.answer(event);
    stopped = event.name == "stopped" && event.info.value("sessionID", Json(session)) == session;
    return false;
  };
  do {
    box.waitForEvents(look, kWaitInterval);
  } while (!stopped && isListed(box, session));
}

int play(Connection& box, const Arguments& arguments) {
  const std::uint32_t session = numberOfNewSession(arguments);
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
  if (waits && status == kSuccess) waitForEnd(box, session, service);
  return status;
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
       "starts a session that plays URL, and prints its number\n"
       "Returns when the session is on screen. With --wait, --serve or --serve-keys, when it has\n"
       "stopped.\n\n"
       "With --serve, a URL of a scheme of the sender's own means a file: scheme://a/b is DIR/a/b. "
       "A\n"
       "file has to fit into one message of 16 MiB. The keys that --serve-keys hands out are a "
       "file\n"
       "of 16 bytes, for every request, or JSON: {\"URL or key identifier\": \"hex or base64\"}.",
       {{"--rate", "R", "1 plays, 0 begins paused"},
        {"--position", "S", "where to begin, in seconds"},
        {"--uuid", "U", "how the item is named in events"},
        {"--audio-only", "", "shows no picture"},
        kParameterOption,
        {"--session", "N", "the session's number; one of its own without"},
        {"--wait", "", "stays until the session has stopped"},
        {"--serve", "DIR", "answers for what only the sender has with the files in DIR"},
        {"--serve-keys", "FILE", "answers for content keys"}},
       1,
       1,
       play},
      {"queue",
       "URL --uuid U",
       "adds an item to the end of the playlist",
       {{"--uuid", "U", "how the item is named"}, kParameterOption, kSessionOption},
       1,
       1,
       queue},
      {"unqueue", "UUID", "removes an item from the playlist", {kSessionOption}, 1, 1, unqueue},
      {"stop", "", "stops the session\nSucceeds when there is none.", {kSessionOption}, 0, 0, stop},
  };
}

}  // namespace vorlanectl
