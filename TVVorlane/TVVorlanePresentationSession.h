#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "TVVorlane/TVVorlaneSession.h"

class TVVorlanePresentationView;

inline constexpr std::string_view TVVorlanePresentationShowProgressAction =
    "TVVorlanePresentationShowProgressAction";
inline constexpr std::string_view TVVorlanePresentationHideProgressAction =
    "TVVorlanePresentationHideProgressAction";

/// Shows a sender's mirrored screen. Owns the view into whose layer the receiver service draws. The
/// start completion returns that layer as "presentationLayer". Main thread.
class TVVorlanePresentationSession final
    : public TVVorlaneSession,
      public std::enable_shared_from_this<TVVorlanePresentationSession> {
 public:
  std::string className() const override { return "TVVorlanePresentationSession"; }

  std::uint32_t sessionID() const override { return _sessionID; }
  std::int64_t sessionType() const override { return TVVorlaneSessionType::kPresentation; }
  /// Null before the start and after the stop.
  const std::shared_ptr<TVVorlanePresentationView>& presentationView() const {
    return _presentationView;
  }

  void startWithOptions(const platform::Dictionary& options, StartCompletion completion) override;
  bool stopWithOptions(const platform::Value& options,
                       std::optional<platform::Error>* error) override;
  bool performAction(const std::string& action, const platform::Value& options,
                     std::optional<platform::Dictionary>* outInfo,
                     std::optional<platform::Error>* error) override;
  void userStop() override;

  /// Posts an event for a press or a swipe on the remote.
  void postUserEvent(const std::string& event, const std::optional<platform::Dictionary>& info) {
    _postEvent(event, info);
  }

 private:
  std::uint32_t _sessionID = 0;
  std::shared_ptr<TVVorlanePresentationView> _presentationView;
};
