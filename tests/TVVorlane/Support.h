#pragma once

#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "TVVorlane/TVVorlaneSession.h"
#include "TVVorlane/TVVorlaneSessionDelegate.h"
#include "TVVorlane/TVVorlaneSessionManager.h"
#include "TVVorlane/screens/TVVorlaneMediaViewController.h"
#include "platform/foundation/MediaTime.h"
#include "platform/ui/scene/Press.h"
#include "sim/AssertionsThrow.h"
#include "sim/Box.h"
#include "sim/MediaEngine.h"
#include "sim/MediaLibrary.h"
#include "tests/TVVorlane/Application.h"

using namespace std::chrono_literals;
using platform::Array;
using platform::Bytes;
using platform::Dictionary;
using platform::MediaTime;
using platform::PressType;
using platform::Value;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

using Texts = std::vector<std::string>;

inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Formats a value on one line: `{key=value, ...}`, `[value, ...]`, `true` and `false`, and the
/// description of any other value.
inline std::string compact(const Value& value) {
  std::string text;
  const auto add = [&](const std::string& entry) {
    if (!text.empty()) text += ", ";
    text += entry;
  };
  if (const auto* dictionary = value.asDictionary()) {
    for (const auto& [key, entry] : *dictionary) add(key + "=" + compact(entry));
    return "{" + text + "}";
  }
  if (const auto* array = value.asArray()) {
    for (const auto& entry : *array) add(compact(entry));
    return "[" + text + "]";
  }
  const auto* number = value.asNumber();
  if (number && number->kind() == platform::Number::Kind::Boolean)
    return number->boolValue() ? "true" : "false";
  return value.description();
}

/// `name`, or `name {key=value}` if there is an info. Omits the info of "playing".
inline std::string eventText(const std::string& name, const std::optional<Dictionary>& info) {
  return info && name != "playing" ? name + " " + compact(*info) : name;
}

/// Events that the receiver service has received since the last call, in order.
inline Texts takeEventTexts(sim::Box& box) {
  Texts texts;
  for (const auto& event : box.receiverServiceClient().takeEvents()) {
    texts.push_back(
        eventText(event.name, event.info.empty() ? std::nullopt : std::optional(event.info)));
  }
  return texts;
}

/// Log lines of one component, without prefix and trailing space.
inline Texts logTexts(const sim::Box& box, std::string_view component) {
  const std::string mark = " #" + std::string(component) + " : ";
  Texts texts;
  for (const auto& line : box.log()) {
    const auto at = line.find(mark);
    if (at == std::string::npos) continue;
    const auto begin = at + mark.size();
    texts.push_back(line.substr(begin, line.size() - begin - 1));
  }
  return texts;
}

/// Runs `call` and returns the failed assertion as `operation (source): condition`, or an empty
/// string.
template <typename Call>
std::string assertionText(Call call) {
  const sim::AssertionsThrow assertionsThrow;
  try {
    call();
  } catch (const sim::AssertionError& error) {
    return error.what();
  }
  return {};
}

/// Records session events.
class RecordingSessionDelegate final : public TVVorlaneSessionDelegate {
 public:
  /// Called for each event, to check the state at that moment.
  std::function<void(TVVorlaneSession&, const std::string& event)> heard;

  void session(TVVorlaneSession& session, const std::string& didPerformEvent,
               const std::optional<Dictionary>& withInfo) override {
    if (heard) heard(session, didPerformEvent);
    _texts.push_back(eventText(didPerformEvent, withInfo));
    _lastInfo = withInfo;
  }
  /// Events since the last call.
  Texts take() { return std::exchange(_texts, {}); }
  const std::optional<Dictionary>& lastInfo() const { return _lastInfo; }

 private:
  Texts _texts;
  std::optional<Dictionary> _lastInfo;
};

/// Records the results of start completions.
class Completions {
 public:
  TVVorlaneSession::StartCompletion recorder() {
    return [this](const auto& outInfo, const auto& error) {
      outInfos.push_back(outInfo);
      errors.push_back(error);
    };
  }
  std::size_t count() const { return errors.size(); }

  std::vector<std::optional<Dictionary>> outInfos;
  std::vector<std::optional<platform::Error>> errors;
};

inline const std::string kVideoURL = "http://sender/video.mp4";
inline const std::string kNextURL = "http://sender/next.mp4";

/// Start parameters of a video with a duration of 100 s.
inline Dictionary videoOptions(std::uint32_t sessionID, const Dictionary& more = {}) {
  Dictionary options{{"Content-Location", kVideoURL}, {"sessionID", sessionID}, {"uuid", "U1"}};
  options.merge(more);
  return options;
}

/// A box with two videos of 100 s. Its host shows the root view controller of the application.
class SessionTest : public testing::Test {
 protected:
  SessionTest() {
    box.viewServiceHost().setRootViewControllerFactory(
        [] { return std::make_shared<TVVorlaneMediaViewController>(); });
    box.mediaLibrary().add(kVideoURL, {.duration = 100});
    box.mediaLibrary().add(kNextURL, {.duration = 100});
  }

  template <typename Session>
  std::shared_ptr<Session> startSession(const Dictionary& options) {
    auto session = std::make_shared<Session>();
    session->setDelegate(delegate);
    session->startWithOptions(options, completions.recorder());
    return session;
  }
  /// The engine of the newest player.
  sim::MediaEngine& engine() { return *box.mediaLibrary().engines().back(); }
  TVVorlaneSessionManager& manager() { return *TVVorlaneSessionManager::sharedInstance(); }
  /// Null if nothing is presented.
  std::shared_ptr<TVVorlaneMediaViewController> rootController() {
    return std::dynamic_pointer_cast<TVVorlaneMediaViewController>(
        box.viewServiceHost().rootViewController());
  }

  sim::Box box;
  std::shared_ptr<RecordingSessionDelegate> delegate = std::make_shared<RecordingSessionDelegate>();
  Completions completions;
};
