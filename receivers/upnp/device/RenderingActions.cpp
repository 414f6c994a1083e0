#include <utility>

#include "receivers/upnp/device/Actions.h"

namespace upnp {

namespace {

/// "1", "true" and "yes" are true, as UPnP has it.
std::optional<bool> truthOf(const std::optional<std::string>& text) {
  if (text == "1" || text == "true" || text == "yes") return true;
  if (text == "0" || text == "false" || text == "no") return false;
  return std::nullopt;
}

/// For the one channel that there is.
std::function<void(Action&)> forMaster(std::function<void(Action&)> run) {
  return [run = std::move(run)](Action& action) {
    if (action.text("Channel") != "Master") return action.fail(Error::InvalidArgs);
    run(action);
  };
}

}  // namespace

ActionTable renderingActions(Rendering& rendering, LastChange& changes) {
  ActionTable table{
      {"ListPresets",
       [&](Action& action) {
         action.set("CurrentPresetNameList", changes.value("PresetNameList"));
         action.succeed();
       }},
      {"SelectPreset",
       [&](Action& action) {
         const auto name = action.text("PresetName");
         action.answer(name ? rendering.selectPreset(*name) : Failure(Error::InvalidArgs));
       }},
      {"GetMute", forMaster([&](Action& action) {
         action.set("CurrentMute", rendering.isMuted() ? "1" : "0");
         action.succeed();
       })},
      {"SetMute", forMaster([&](Action& action) {
         const auto isMuted = truthOf(action.text("DesiredMute"));
         if (!isMuted) return action.fail(Error::InvalidArgs);
         rendering.setMuted(*isMuted);
         action.succeed();
       })},
      {"GetVolume", forMaster([&](Action& action) {
         action.set("CurrentVolume", std::to_string(rendering.volume()));
         action.succeed();
       })},
      {"SetVolume", forMaster([&](Action& action) {
         const auto volume = action.number("DesiredVolume");
         action.answer(volume ? rendering.setVolume(*volume) : Failure(Error::InvalidArgs));
       })}};
  for (auto& [name, run] : table) {
    run = [run = std::move(run)](Action& action) {
      if (!action.text("InstanceID")) return action.fail(Error::InvalidArgs);
      if (action.number("InstanceID") != 0) return action.fail(Error::InvalidRenderingInstance);
      run(action);
    };
  }
  return table;
}

}  // namespace upnp
