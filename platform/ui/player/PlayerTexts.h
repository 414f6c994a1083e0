#pragma once

#include <string>

#include "platform/foundation/Error.h"

namespace platform {

/// Why nothing is to be seen.
struct FailureTexts {
  std::string notFound = "This video could not be found.";
  std::string noConnection = "There is no connection to this video.";
  std::string timedOut = "This video took too long to answer.";
  std::string unknownFormat = "The format of this video is not supported.";
  std::string notAllowed = "This video may not be played here.";
  std::string failed = "This video can't be played.";
};

/// The words of a video player, in English unless the application hands over others.
struct PlayerTexts {
  std::string live = "LIVE";
  std::string goToLive = "Go to live";

  std::string sound = "Audio";
  std::string subtitles = "Subtitles";
  std::string off = "Off";
  std::string unknownLanguage = "Unknown language";
  // What an option is beside its language.
  std::string hardOfHearing = "for the hard of hearing";
  std::string audioDescription = "with audio description";
  std::string commentary = "commentary";

  std::string percent = "{}%";   ///< how a language writes it; {} is the number
  std::string seconds = "{} s";  ///< how a language writes a number of seconds
  std::string paused = "Paused";
  std::string ended = "This video has ended.";
  FailureTexts failures;
  // What the remote can do where there is nothing to see any more.
  std::string replayHint = "Press Play to watch it again, or Back to leave.";
  std::string retryHint = "Press Play to try again, or Back to leave.";

  /// The sentence for the cause of a failure, by the error's domain and code.
  const std::string& failureSentence(const Error& error) const;
  std::string percentText(int number) const;
  /// Of whole seconds: "+10 s" or "−10 s"; empty for none.
  std::string skipText(double skipped) const;
};

}  // namespace platform
