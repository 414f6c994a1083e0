#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <vector>

#include "TVVorlane/TVVorlaneAppDelegate.h"
#include "sim/Box.h"
#include "tests/scenarios/ScenarioBox.h"

/// Runs the whole application on the box in memory, controlled by a scenario.
class SimScenarioBox final : public scenarios::ScenarioBox {
 public:
  /// Throws scenarios::Failure if the application does not launch.
  explicit SimScenarioBox(sim::BoxOptions options = {});
  ~SimScenarioBox() override;

  bool isReal() const override { return false; }
  std::string mediaRoot() override { return "http://sender"; }
  void addMedia(const std::string& name, const platform::Dictionary& script) override;
  scenarios::Answer call(const scenarios::Call& call) override;
  void begin(const scenarios::Call& call) override;
  std::optional<std::int32_t> statusOfBegun() override;
  std::optional<scenarios::Event> nextEvent() override;
  bool findInLog(const std::string& text) override;
  std::string state(const std::string& wanted) override;
  std::size_t sessions(std::size_t wanted) override;
  bool hasPicture(bool wanted) override;
  void settle() override { _box.advance(std::chrono::milliseconds(500)); }
  void press(const std::string& button) override;
  void swipe(const std::string& direction) override;
  std::vector<std::string> screen() override;
  std::string title() override;
  std::string message() override;
  std::vector<std::string> journal(const std::string& prefix) override;
  void advance(platform::Duration duration) override { _box.advance(duration); }
  void host(const std::vector<std::string>& words) override;
  void system(const std::vector<std::string>& words) override;

  sim::Box& box() { return _box; }
  const TVVorlaneAppDelegate& application() const { return *_application; }
  /// Number of calls that were begun and have not returned.
  std::size_t runningCalls() const;
  /// Advances the time until all begun calls have returned. Throws if one cannot return.
  void finishCalls();

 private:
  scenarios::Answer _make(const scenarios::Call& call);
  void _send(platform::InputEvent event);
  template <typename Element>
  Element _shown();

  sim::Box _box;
  std::shared_ptr<TVVorlaneAppDelegate> _application = std::make_shared<TVVorlaneAppDelegate>();
  std::vector<sim::ReceiverCall<scenarios::Answer>> _begun;
  std::vector<scenarios::Event> _events;
  std::size_t _logLine = 0;
  std::map<std::string, std::size_t> _journalRead;  // entries read so far, by prefix
};
