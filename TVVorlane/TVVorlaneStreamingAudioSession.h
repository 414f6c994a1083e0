#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TVVorlane/TVVorlaneSession.h"
#include "platform/foundation/Token.h"

/// The one property that can be set: where the stream is.
inline constexpr std::string_view TVVorlaneStreamingAudioTimeDataKey =
    "TVVorlaneStreamingAudioTimeDataKey";
/// The distributed notification that passes it on.
inline constexpr std::string_view TVVorlaneTimeNotificationName = "TVVorlaneTimeNotificationName";

/// Audio that the receiver service receives and plays: this session makes the stream known, passes
/// its progress on to other processes, and when the device goes to sleep tells the sender to stop
/// and keeps new playback out for 15 s. Nothing of it is shown. Main thread.
class TVVorlaneStreamingAudioSession final
    : public TVVorlaneSession,
      public std::enable_shared_from_this<TVVorlaneStreamingAudioSession> {
 public:
  /// Hears of the device's sleep from now until its end.
  TVVorlaneStreamingAudioSession();
  std::string className() const override { return "TVVorlaneStreamingAudioSession"; }

  std::uint32_t sessionID() const override { return _sessionID; }
  std::int64_t sessionType() const override { return TVVorlaneSessionType::kStreamingAudio; }
  /// From start to stop.
  const std::optional<platform::Dictionary>& initialOptions() const { return _initialOptions; }

  void startWithOptions(const platform::Dictionary& options, StartCompletion completion) override;
  bool stopWithOptions(const platform::Value& options,
                       std::optional<platform::Error>* error) override;
  bool setProperty(const std::string& property, const platform::Value& qualifier,
                   const platform::Value& value, std::optional<platform::Error>* error) override;
  void userStop() override {}

 private:
  void _deviceWillSleep();

  std::uint32_t _sessionID = 0;
  std::optional<platform::Dictionary> _initialOptions;
  platform::Token _sleepObserver;
};
