#include "tests/scenarios/sim/SimSystem.h"

#include <functional>
#include <map>

#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/scenarios/ScenarioBox.h"

using platform::RemoteCommand;

namespace {

double number(const std::string& word) {
  try {
    return std::stod(word);
  } catch (const std::exception&) {
    throw scenarios::Failure("a number was expected instead of '" + word + "'");
  }
}

using Words = std::vector<std::string>;
using Action = std::function<void(sim::Box&, const Words&)>;

void sendRemoteCommand(sim::Box& box, const Words& words) {
  using Kind = RemoteCommand::Kind;
  static const std::map<std::string, Kind> kinds = {
      {"play", Kind::Play},        {"pause", Kind::Pause}, {"toggle", Kind::TogglePlayPause},
      {"stop", Kind::Stop},        {"next", Kind::Next},   {"previous", Kind::Previous},
      {"skip", Kind::SkipBy},      {"seek", Kind::SeekTo}, {"rate", Kind::SetRate},
      {"volume", Kind::SetVolume},
  };
  const auto kind = kinds.find(words.at(1));
  if (kind == kinds.end()) throw scenarios::Failure("there is no command " + words[1]);
  box.nowPlaying().send({kind->second, words.size() > 2 ? number(words[2]) : 0});
}

void setRoutes(sim::Box& box, const Words& words) {
  constexpr int kSpeaker = 3;
  std::vector<platform::AudioRoute> routes;
  if (words.at(1) != "none") {
    const bool speaker = words[1] == "speaker";
    routes = {{"television", 0, !speaker, true}, {"speaker", kSpeaker, speaker, false}};
  }
  box.audioRouting().setRoutes(routes);
}

/// `what` fails until it is set to work.
void setFailing(sim::Box& box, const std::string& what, bool fails) {
  if (what == "power") {
    box.powerManager().setStatus(fails ? 1 : 0);
  } else if (what == "notifications") {
    for (const char* name : {"quorin.vorlane.dacp.stop", "quorin.vorlane.playbackPrevent",
                             "quorin.vorlane.playbackAllow"})
      box.systemNotifications().setPostFails(name, fails);
  } else if (what == "tokens") {
    box.systemNotifications().setRegistrationFails(fails);
  } else if (what == "category") {
    box.audioSession().setCategoryFails(fails);
  } else if (what == "layers") {
    box.layers().setOffered(!fails);
  } else {
    throw scenarios::Failure("there is no service '" + what + "'");
  }
}

void failMedia(sim::Box& box, const Words& words) {
  const auto& engines = box.mediaLibrary().engines();
  if (engines.empty() || !engines.back()->isLoaded()) return;
  engines.back()->fail({std::string(platform::kURLErrorDomain),
                        static_cast<std::int64_t>(number(words.at(1))),
                        {},
                        {},
                        {}});
}

const std::map<std::string, Action>& actions() {
  static const std::map<std::string, Action> table = {
      {"sleep",
       [](auto& box, auto&) {
         box.systemNotifications().deliver(platform::TVSPowerManagerDeviceWillSleepNotification);
       }},
      {"interruption",
       [](auto& box, auto& words) { box.audioSession().interrupt(words.at(1) == "begins"); }},
      {"sound", [](auto& box, auto&) { box.audioSession().simulateServiceRestart(); }},
      {"internet",
       [](auto& box, auto& words) { box.network().setInternetAvailable(words.at(1) == "on"); }},
      {"routes", setRoutes},
      {"remote", sendRemoteCommand},
      {"media", failMedia},
      {"fails", [](auto& box, auto& words) { setFailing(box, words.at(1), true); }},
      {"works", [](auto& box, auto& words) { setFailing(box, words.at(1), false); }},
  };
  return table;
}

}  // namespace

void simulateSystem(sim::Box& box, const Words& words) {
  const auto action = actions().find(words.empty() ? "" : words[0]);
  if (action == actions().end()) throw scenarios::Failure("the system does no such thing");
  try {
    action->second(box, words);
  } catch (const std::out_of_range&) {
    throw scenarios::Failure("the step is too short");
  }
}
