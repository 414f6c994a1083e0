#include "tests/scenarios/sim/SimScenarioBox.h"

#include <algorithm>
#include <functional>
#include <iterator>

#include "TVVorlane/TVVorlanePresentationSession.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/screens/TVVorlanePresentationView.h"
#include "sim/MediaLibrary.h"
#include "tests/TVVorlane/Application.h"
#include "tests/platform/ui/Support.h"
#include "tests/scenarios/sim/SimMediaScript.h"
#include "tests/scenarios/sim/SimSystem.h"

using platform::Dictionary;
using platform::Value;
using scenarios::Answer;
using scenarios::Call;
using scenarios::Event;
using scenarios::Failure;

namespace {

/// Makes the call with a given name.
using Maker = std::function<Answer(VorlaneReceiverUIDelegate&, const Call&)>;

template <typename Function>
Maker withOut(Function function) {
  return [function](auto& delegate, const Call& call) {
    Dictionary out;
    const auto status = (delegate.*function)(call.dictionary(0), &out);
    return Answer{status, out};
  };
}

template <typename Function>
Maker withParams(Function function) {
  return [function](auto& delegate, const Call& call) {
    return Answer{(delegate.*function)(call.dictionary(0)), {}};
  };
}

const std::map<std::string, Maker>& makers() {
  using Delegate = VorlaneReceiverUIDelegate;
  static const std::map<std::string, Maker> table = {
      {"GetProperty",
       [](auto& to, const Call& call) {
         Answer answer;
         answer.value = to.vorlaneUIGetProperty(call.string(0), call.optional(1), &answer.status);
         return answer;
       }},
      {"SetProperty",
       [](auto& to, const Call& call) -> Answer {
         return {to.vorlaneUISetProperty(call.string(0), call.optional(2), call.optional(1)), {}};
       }},
      {"Perform",
       [](auto& to, const Call& call) {
         Dictionary out;
         const auto status = to.vorlaneUIPerform(call.string(0), call.dictionary(1), &out);
         return Answer{status, out};
       }},
      {"ShowProgress",
       [](auto& to, auto&) {
         return Answer{to.vorlaneUIShowProgress(), {}};
       }},
      {"HideProgress",
       [](auto& to, auto&) {
         return Answer{to.vorlaneUIHideProgress(), {}};
       }},
      {"Activity", [](auto& to, auto&) { return to.vorlaneUIActivity(), Answer{}; }},
      {"UpdateAudioProgress",
       [](auto& to, const Call& call) -> Answer {
         return {to.vorlaneUIUpdateAudioProgress(call.number(0), call.number(1)), {}};
       }},
      {"StartPresentation", withOut(&Delegate::vorlaneUIStartPresentation)},
      {"StartAudio", withOut(&Delegate::vorlaneUIStartAudio)},
      {"StartVideo", withOut(&Delegate::vorlaneUIStartVideo)},
      {"StopPresentation", withParams(&Delegate::vorlaneUIStopPresentation)},
      {"StopAudio", withParams(&Delegate::vorlaneUIStopAudio)},
      {"StopVideo", withParams(&Delegate::vorlaneUIStopVideo)},
      {"UpdateAudioMetaData", withParams(&Delegate::vorlaneUIUpdateAudioMetaData)},
  };
  return table;
}

TVVorlaneSessionManager& manager() { return *TVVorlaneSessionManager::sharedInstance(); }

}  // namespace

SimScenarioBox::SimScenarioBox(sim::BoxOptions options) : _box(options) {
  if (!_box.launch(applicationOf(_application))) throw Failure("the application did not launch");
  _box.clearLog();
}

SimScenarioBox::~SimScenarioBox() = default;

void SimScenarioBox::addMedia(const std::string& name, const Dictionary& script) {
  _box.mediaLibrary().add(mediaRoot() + "/" + name, simMediaScript(script));
}

Answer SimScenarioBox::_make(const Call& call) {
  const auto maker = makers().find(call.method);
  if (maker == makers().end()) throw Failure("there is no call " + call.method);
  return maker->second(*_application->receiverDelegate(), call);
}

Answer SimScenarioBox::call(const Call& call) {
  const Answer answer = _box.call([&] { return _make(call); });
  _box.run();
  return answer;
}

void SimScenarioBox::begin(const Call& call) {
  std::erase_if(_begun, [](const auto& earlier) { return earlier.done(); });
  _begun.push_back(_box.beginCall([this, call] { return _make(call); }));
}

std::optional<std::int32_t> SimScenarioBox::statusOfBegun() {
  if (_begun.empty()) throw Failure("no call was begun");
  return _begun.back().done() ? std::optional(_begun.back().result().status) : std::nullopt;
}

std::size_t SimScenarioBox::runningCalls() const {
  return static_cast<std::size_t>(
      std::count_if(_begun.begin(), _begun.end(), [](const auto& call) { return !call.done(); }));
}

void SimScenarioBox::finishCalls() {
  for (const auto& call : _begun) _box.finish(call);
}

std::optional<Event> SimScenarioBox::nextEvent() {
  _box.run();
  for (auto& event : _box.receiverServiceClient().takeEvents())
    _events.push_back({event.name, event.info});
  if (_events.empty()) return std::nullopt;
  const Event event = std::move(_events.front());
  _events.erase(_events.begin());
  return event;
}

bool SimScenarioBox::findInLog(const std::string& text) {
  const auto lines = _box.log();
  for (std::size_t line = _logLine; line < lines.size(); ++line) {
    if (lines[line].find(text) == std::string::npos) continue;
    _logLine = line + 1;
    return true;
  }
  return false;
}

std::string SimScenarioBox::state(const std::string&) {
  return manager().stateMachine().currentState();
}

std::size_t SimScenarioBox::sessions(std::size_t) { return manager().activeSessions().size(); }

bool SimScenarioBox::hasPicture(bool) { return _box.screen().isOpen(); }

void SimScenarioBox::_send(platform::InputEvent event) {
  if (!_box.screen().send(event)) throw Failure("nobody hears the remote");
  _box.run();
}

void SimScenarioBox::press(const std::string& button) {
  const auto type = platform::pressTypeFromName(button);
  if (!type) throw Failure("there is no button '" + button + "'");
  _send({*type});
}

void SimScenarioBox::swipe(const std::string& direction) {
  const auto type = platform::swipeDirectionFromName(direction);
  if (!type) throw Failure("there is no direction '" + direction + "'");
  _send({*type});
}

std::vector<std::string> SimScenarioBox::screen() {
  std::vector<std::string> shown;
  const auto controller = manager().mediaViewController();
  if (!controller || !_box.screen().isOpen()) return shown;
  if (const auto& session = controller->presentationSession()) {
    shown.emplace_back("mirroring");
    if (session->presentationView()->showProgress()) shown.emplace_back("progress");
  }
  if (controller->videoPlaybackSession()) shown.emplace_back("video");
  if (controller->pinInfoSession()) shown.emplace_back("pin");
  if (controller->dialogInfoSession()) shown.emplace_back("dialog");
  return shown;
}

template <typename Element>
Element SimScenarioBox::_shown() {
  // The scene is updated one turn after a change.
  _box.run();
  const auto scene = _box.screen().scene();
  return (scene ? platform::findElement<Element>(scene->nodes) : std::nullopt).value_or(Element());
}

std::string SimScenarioBox::title() { return _shown<platform::TransportBarElement>().title; }

std::string SimScenarioBox::message() { return _shown<platform::MessageElement>().text; }

std::vector<std::string> SimScenarioBox::journal(const std::string& prefix) {
  std::vector<std::string> entries;
  for (const auto& entry : _box.journal().entries()) {
    if (entry.starts_with(prefix)) entries.push_back(entry);
  }
  std::size_t& read = _journalRead[prefix];
  entries.erase(entries.begin(), std::next(entries.begin(), static_cast<std::ptrdiff_t>(read)));
  read += entries.size();
  return entries;
}

void SimScenarioBox::host(const std::vector<std::string>& words) {
  using Opening = sim::Screen::Opening;
  const std::string what = words.empty() ? "" : words[0];
  if (what == "refuse") {
    _box.screen().setOpening(Opening::Refuses);
  } else if (what == "accept") {
    _box.screen().setOpening(Opening::Succeeds);
  } else if (what == "never") {
    _box.screen().setOpening(Opening::NeverAnswers);
  } else if (what == "late" && words.size() == 2) {
    _box.screen().setOpening(Opening::Succeeds, platform::durationFromSeconds(std::stod(words[1])));
  } else if (what == "end") {
    _box.viewServiceHost().endPresentation();
  } else if (what == "close") {
    _box.screen().closeUnexpectedly();
  } else {
    throw Failure("the host does no '" + what + "'");
  }
  _box.run();
}

void SimScenarioBox::system(const std::vector<std::string>& words) {
  simulateSystem(_box, words);
  _box.run();
}
