#pragma once

#include <string>

#include "platform/foundation/Error.h"

namespace platform {

/// Sentences for causes of failures.
struct FailureTexts {
  std::string notFound = "This video could not be found.";
  std::string noConnection = "There is no connection to this video.";
  std::string timedOut = "This video took too long to answer.";
  std::string unknownFormat = "The format of this video is not supported.";
  std::string notAllowed = "This video may not be played here.";
  std::string failed = "This video can't be played.";
};

/// The texts of the video player. The defaults are English; the application sets translations.
struct PlayerTexts {
  std::string live = "LIVE";
  std::string goToLive = "Go to live";

  std::string audio = "Audio";
  std::string subtitles = "Subtitles";
  std::string off = "Off";
  std::string unknownLanguage = "Unknown language";
  std::string hardOfHearing = "for the hard of hearing";
  std::string audioDescription = "with audio description";
  std::string commentary = "commentary";

  std::string percent = "{}%";   ///< format; {} is replaced by the number
  std::string seconds = "{} s";  ///< format; {} is replaced by the number
  std::string paused = "Paused";
  std::string ended = "This video has ended.";
  FailureTexts failures;
  std::string replayHint = "Press Play to watch it again, or Home to leave.";
  std::string retryHint = "Press Play to try again, or Home to leave.";

  const std::string& failureSentence(const Error& error) const;
  std::string percentText(int number) const;
  /// Rounded to seconds: "+10 s" or "−10 s"; empty for 0.
  std::string skipText(double skipped) const;
};

}  // namespace platform
