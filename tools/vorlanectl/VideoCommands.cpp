#include <cstdio>
#include <string>

#include <unistd.h>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

void addParameters(Json& params, const Arguments& arguments) {
  for (const std::string& parameter : arguments.texts("--param")) {
    const std::size_t equals = parameter.find('=');
    if (equals == 0 || equals == std::string::npos) {
      throw UsageError("--param needs KEY=JSON, not \"" + parameter + "\"");
    }
    params[parameter.substr(0, equals)] = parseJson(parameter.substr(equals + 1));
  }
}

Json sessionParameters(const Arguments& arguments) {
  Json params = Json::object();
  if (const auto session = arguments.count("--session")) params["sessionID"] = *session;
  return params;
}

/// Follows one session's events until it is over. Events without a session's number are the playing
/// one's.
bool endsSession(const std::string& name, const Json& info, std::uint32_t session) {
  if (name != "stopped") return false;
  return !info.contains("sessionID") || info["sessionID"] == session;
}

int play(Connection& box, const Arguments& arguments) {
  const std::uint32_t session =
      arguments.count("--session").value_or(static_cast<std::uint32_t>(getpid()));
  Json params = {{"sessionID", session}, {"Content-Location", arguments.words()[0]}};
  if (const auto rate = arguments.number("--rate")) params["rate"] = *rate;
  if (const auto position = arguments.number("--position"))
    params["Start-Position-Seconds"] = *position;
  if (const auto uuid = arguments.text("--uuid")) params["uuid"] = *uuid;
  if (arguments.has("--audio-only")) params["audioOnly"] = true;
  addParameters(params, arguments);

  const bool waits = arguments.has("--wait");
  if (waits) box.listen();
  Answer answer =
      box.call("StartVideo", [&](sd_bus_message* call) { appendDictionary(call, params); });
  const std::int32_t status = answer.readStatus();
  if (const Json out = answer.read(); status != 0 && !out.empty()) {
    std::fprintf(stderr, "vorlanectl: %s\n", out.dump().c_str());
  }
  if (status != 0) return report(status);
  std::printf("session %u\n", session);
  std::fflush(stdout);
  if (waits) {
    box.waitForEvents([&](const std::string& name,
                          const Json& info) { return !endsSession(name, info, session); },
                      std::nullopt);
  }
  return kSuccess;
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

constexpr Option kParameterOption{"--param", "KEY=JSON", "any other parameter; may be repeated"};

}  // namespace

std::vector<Command> videoCommands() {
  return {
      {"play",
       "URL",
       "starts a session that plays URL, and prints its number\n"
       "Returns when the session is on screen. With --wait, when it has stopped.",
       {{"--rate", "R", "1 plays, 0 begins paused"},
        {"--position", "S", "where to begin, in seconds"},
        {"--uuid", "U", "how the item is named in events"},
        {"--audio-only", "", "shows no picture"},
        kParameterOption,
        {"--session", "N", "the session's number; one of its own without"},
        {"--wait", "", "stays until the session has stopped"}},
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
