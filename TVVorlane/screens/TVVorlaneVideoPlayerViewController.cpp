#include "TVVorlane/screens/TVVorlaneVideoPlayerViewController.h"

#include <utility>

#include "TVVorlane/TVVorlaneLocalizedStrings.h"
#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "platform/foundation/log/TVSLogger.h"

namespace {

platform::PlayerTexts localizedTexts() {
  const auto text = [](const char* key) { return TVVorlaneLocalizedString(key); };
  return {.live = text("TVVorlanePlayerLive"),
          .goToLive = text("TVVorlanePlayerGoToLive"),
          .audio = text("TVVorlanePlayerSound"),
          .subtitles = text("TVVorlanePlayerSubtitles"),
          .off = text("TVVorlanePlayerOff"),
          .unknownLanguage = text("TVVorlanePlayerUnknownLanguage"),
          .hardOfHearing = text("TVVorlanePlayerHardOfHearing"),
          .audioDescription = text("TVVorlanePlayerAudioDescription"),
          .commentary = text("TVVorlanePlayerCommentary"),
          .percent = text("TVVorlanePlayerPercent"),
          .seconds = text("TVVorlanePlayerSeconds"),
          .paused = text("TVVorlanePlayerPaused"),
          .ended = text("TVVorlanePlayerEnded"),
          .failures = {.notFound = text("TVVorlanePlayerNotFound"),
                       .noConnection = text("TVVorlanePlayerNoConnection"),
                       .timedOut = text("TVVorlanePlayerTimedOut"),
                       .unknownFormat = text("TVVorlanePlayerUnknownFormat"),
                       .notAllowed = text("TVVorlanePlayerNotAllowed"),
                       .failed = text("TVVorlanePlayerFailed")},
          .replayHint = text("TVVorlanePlayerReplayHint"),
          .retryHint = text("TVVorlanePlayerRetryHint")};
}

}  // namespace

TVVorlaneVideoPlayerViewController::TVVorlaneVideoPlayerViewController(
    std::shared_ptr<TVSPlayer> player, bool invalidatesPlayerWhenDone)
    : VideoPlayerViewController(std::move(player), invalidatesPlayerWhenDone) {
  setTexts(localizedTexts());
}

void TVVorlaneVideoPlayerViewController::dismiss() {
  if (_wasDismissed) return;
  _wasDismissed = true;
  if (player()->state() == TVSPlaybackState::Stopped) {
    TVSLogNotice(TVVLSession, "Video view controller dismissed");
    return;
  }
  TVSLogNotice(TVVLSession, "Video view controller dismissed due to menu, sending stop");
  // userStop() may release this controller.
  const auto self = shared_from_this();
  if (_videoSession) _videoSession->userStop();
}
