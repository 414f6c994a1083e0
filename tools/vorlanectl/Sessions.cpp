#include <cstdio>
#include <string>

#include <unistd.h>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

Json sessionParameters(const Arguments& arguments) {
  Json params = Json::object();
  if (const auto session = arguments.count("--session")) params["sessionID"] = *session;
  return params;
}

void addParameters(Json& params, const Arguments& arguments) {
  for (const std::string& parameter : arguments.texts("--param")) {
    const std::size_t equals = parameter.find('=');
    if (equals == 0 || equals == std::string::npos) {
      throw UsageError("--param needs KEY=JSON, not \"" + parameter + "\"");
    }
    params[parameter.substr(0, equals)] = parseJson(parameter.substr(equals + 1));
  }
}

std::uint32_t newSessionID(const Arguments& arguments) {
  return arguments.count("--session").value_or(static_cast<std::uint32_t>(getpid()));
}

std::optional<std::chrono::milliseconds> durationOption(const Arguments& arguments,
                                                        std::string_view option) {
  const auto seconds = arguments.number(option);
  if (!seconds) return std::nullopt;
  if (*seconds < 0 || *seconds > 1e9)
    throw UsageError(std::string(option) + " needs seconds from 0 to a billion");
  return std::chrono::milliseconds(static_cast<std::int64_t>(*seconds * 1000));
}

int startSession(Connection& box, const char* method, const Json& params) {
  Answer answer = box.call(method, [&](sd_bus_message* call) { appendDictionary(call, params); });
  const std::int32_t status = answer.readStatus();
  if (status != 0) {
    if (const Json out = answer.read(); !out.empty())
      std::fprintf(stderr, "vorlanectl: %s\n", out.dump().c_str());
    return report(status);
  }
  std::printf("session %s\n", params["sessionID"].dump().c_str());
  std::fflush(stdout);
  return kSuccess;
}

}  // namespace vorlanectl
