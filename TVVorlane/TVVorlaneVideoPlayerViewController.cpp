#include "TVVorlane/TVVorlaneVideoPlayerViewController.h"

#include "TVVorlane/TVVorlaneLogComponents.h"
#include "TVVorlane/TVVorlaneURLSession.h"
#include "platform/foundation/TVSLogger.h"

void TVVorlaneVideoPlayerViewController::dismiss() {
  if (_wasDismissed) return;
  _wasDismissed = true;
  if (player()->state() == TVSPlaybackState::Stopped) {
    TVSLogNotice(TVVLSession, "Video view controller dismissed");
    return;
  }
  TVSLogNotice(TVVLSession, "Video view controller dismissed due to menu, sending stop");
  // The stop may take this controller away.
  const auto self = shared_from_this();
  if (_videoSession) _videoSession->userStop();
}
