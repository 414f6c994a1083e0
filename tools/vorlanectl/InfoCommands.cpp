#include <string>

#include "tools/vorlanectl/Command.h"

namespace vorlanectl {

namespace {

int perform(Connection& box, const char* action, const Json& params) {
  Answer answer = box.call("Perform", [&](sd_bus_message* call) {
    sd_bus_message_append_basic(call, 's', action);
    appendDictionary(call, params);
  });
  return report(answer.readStatus());
}

int pin(Connection& box, const Arguments& arguments) {
  return perform(box, "showPIN", {{"pin", arguments.words()[0]}});
}

int hidePin(Connection& box, const Arguments&) { return perform(box, "hidePIN", Json::object()); }

int incompatible(Connection& box, const Arguments&) {
  return perform(box, "incompatibleSender", Json::object());
}

}  // namespace

std::vector<Command> infoCommands() {
  return {
      {"pin",
       "CODE",
       "shows a pairing code\n"
       "It is hidden by hide-pin, by the menu button, or after 30 seconds.",
       {},
       1,
       1,
       pin},
      {"hide-pin",
       "",
       "hides the code or dialog\nSucceeds even if none is shown.",
       {},
       0,
       0,
       hidePin},
      {"incompatible",
       "",
       "shows the dialog for a sender that cannot be verified",
       {},
       0,
       0,
       incompatible},
  };
}

}  // namespace vorlanectl
