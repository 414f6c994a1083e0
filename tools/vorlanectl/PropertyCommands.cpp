#include <cstdio>
#include <optional>
#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

int setProperty(Connection& box, const std::string& property, const Json& value,
                const std::optional<Json>& qualifier = std::nullopt) {
  Answer answer = box.call("SetProperty", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', property.c_str());
    appendValueOrNone(call, qualifier ? &*qualifier : nullptr);
    appendVariant(call, value);
  });
  return report(answer.readStatus());
}

int get(Connection& box, const Arguments& arguments) {
  std::optional<Json> qualifier;
  if (arguments.words().size() > 1) qualifier = parseJson(arguments.words()[1]);
  Answer answer = box.call("GetProperty", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', arguments.words()[0].c_str());
    appendValueOrNone(call, qualifier ? &*qualifier : nullptr);
  });
  const std::int32_t status = answer.readStatus();
  if (status == 0) {
    const Json value = answer.read();
    print(value.empty() ? Json() : value[0]);
  }
  return report(status);
}

int set(Connection& box, const Arguments& arguments) {
  std::optional<Json> qualifier;
  if (const auto text = arguments.text("--qualifier")) qualifier = parseJson(*text);
  return setProperty(box, arguments.words()[0], parseJson(arguments.words()[1]), qualifier);
}

int perform(Connection& box, const Arguments& arguments) {
  Json params = Json::object();
  if (arguments.words().size() > 1) params = parseJson(arguments.words()[1]);
  Answer answer = box.call("Perform", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', arguments.words()[0].c_str());
    appendDictionary(call, params);
  });
  const std::int32_t status = answer.readStatus();
  if (const Json out = answer.read(); !out.empty()) print(out);
  return report(status);
}

int pause(Connection& box, const Arguments&) { return setProperty(box, "rate", 0.0); }

int resume(Connection& box, const Arguments&) { return setProperty(box, "rate", 1.0); }

int rate(Connection& box, const Arguments& arguments) {
  return setProperty(box, "rate", parseNumber(arguments.words()[0], "rate"));
}

int seek(Connection& box, const Arguments& arguments) {
  return setProperty(box, "position", parseNumber(arguments.words()[0], "seek"));
}

int volume(Connection& box, const Arguments& arguments) {
  return setProperty(box, "volume", parseNumber(arguments.words()[0], "volume"));
}

/// Encodes the JSON arguments of each method.
void appendArguments(sd_bus_message* call, const std::string& method,
                     const std::vector<Json>& values) {
  const auto need = [&](std::size_t least, std::size_t most, const char* what) {
    if (values.size() < least || values.size() > most) throw UsageError(method + " needs " + what);
  };
  const auto text = [&](std::size_t index) {
    if (!values[index].is_string())
      throw UsageError(method + " needs a JSON string such as '\"rate\"'");
    sd_bus_message_append_basic(call, 's', values[index].get_ref<const std::string&>().c_str());
  };
  if (method == "GetProperty") {
    need(1, 2, "PROPERTY [QUALIFIER]");
    text(0);
    appendValueOrNone(call, values.size() > 1 ? &values[1] : nullptr);
  } else if (method == "SetProperty") {
    need(2, 3, "PROPERTY VALUE [QUALIFIER]");
    text(0);
    appendValueOrNone(call, values.size() > 2 ? &values[2] : nullptr);
    appendVariant(call, values[1]);
  } else if (method == "Perform") {
    need(1, 2, "ACTION [PARAMETERS]");
    text(0);
    appendDictionary(call, values.size() > 1 ? values[1] : Json::object());
  } else if (method == "UpdateAudioProgress") {
    need(2, 2, "ELAPSED DURATION");
    for (const Json& value : values) {
      if (!value.is_number()) throw UsageError(method + " needs numbers");
      const auto number = value.get<double>();
      sd_bus_message_append_basic(call, 'd', &number);
    }
  } else if (method == "ShowProgress" || method == "HideProgress" || method == "Activity") {
    need(0, 0, "no arguments");
  } else {
    need(0, 1, "PARAMETERS alone");
    appendDictionary(call, values.empty() ? Json::object() : values[0]);
  }
}

int call(Connection& box, const Arguments& arguments) {
  const std::string& method = arguments.words()[0];
  std::vector<Json> values;
  for (std::size_t index = 1; index < arguments.words().size(); ++index) {
    values.push_back(parseJson(arguments.words()[index]));
  }
  Answer answer = box.call(
      method.c_str(), [&](sd_bus_message* message) { appendArguments(message, method, values); });
  if (answer.atEnd()) return kSuccess;
  const std::int32_t status = answer.readStatus();
  if (!answer.atEnd()) print(answer.read());
  return report(status);
}

}  // namespace

std::vector<Command> propertyCommands() {
  return {
      {"pause", "", "pauses playback", {}, 0, 0, pause},
      {"resume", "", "resumes playback at the normal rate", {}, 0, 0, resume},
      {"seek", "SECONDS", "seeks to a position", {}, 1, 1, seek},
      {"rate", "R", "sets the rate; 0 pauses", {}, 1, 1, rate},
      {"volume", "V", "sets the volume, from 0 to 1", {}, 1, 1, volume},
      {"get",
       "PROPERTY [QUALIFIER]",
       "prints a property as JSON\nThe qualifier is JSON. Prints null if the property has no "
       "value.",
       {},
       1,
       2,
       get},
      {"set",
       "PROPERTY JSON",
       "sets a property",
       {{"--qualifier", "JSON", "qualifier of the property"}},
       2,
       2,
       set},
      {"perform", "ACTION [JSON]", "performs an action and prints its result", {}, 1, 2, perform},
      {"call",
       "METHOD [JSON...]",
       "calls a method of the receiver interface\n"
       "GetProperty PROPERTY [QUALIFIER] and SetProperty PROPERTY VALUE [QUALIFIER] with the "
       "property as\n"
       "JSON string; Perform ACTION [PARAMETERS]; UpdateAudioProgress ELAPSED DURATION. The other\n"
       "methods take an object or nothing. The value of a property is printed as an array, which "
       "is\n"
       "empty if there is no value.",
       {},
       1,
       kUnlimited,
       call},
  };
}

}  // namespace vorlanectl
