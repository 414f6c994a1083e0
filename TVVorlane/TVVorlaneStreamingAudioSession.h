#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "TVVorlane/TVVorlaneSession.h"
#include "platform/foundation/Token.h"

/// The only writable property: the position of the stream.
inline constexpr std::string_view TVVorlaneStreamingAudioTimeDataKey =
    "TVVorlaneStreamingAudioTimeDataKey";
/// The distributed notification that forwards this property.
inline constexpr std::string_view TVVorlaneTimeNotificationName = "TVVorlaneTimeNotificationName";

/// Audio that the receiver service receives and plays itself. The session registers the stream and
/// forwards its progress to other processes. When the device goes to sleep, it posts the stop
/// events to the sender and prevents new playback for 15 s. It shows nothing. Main thread.
class TVVorlaneStreamingAudioSession final
    : public TVVorlaneSession,
      public std::enable_shared_from_this<TVVorlaneStreamingAudioSession> {
 public:
  /// Observes the sleep notification for the lifetime of the session.
  TVVorlaneStreamingAudioSession();
  std::string className() const override { return "TVVorlaneStreamingAudioSession"; }

  std::uint32_t sessionID() const override { return _sessionID; }
  std::int64_t sessionType() const override { return TVVorlaneSessionType::kStreamingAudio; }
  /// Set from start to stop.
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
