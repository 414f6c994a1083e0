#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEnglishTexts[] = {
    {"TVVorlanePINTitle", "Enter this code on your device"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Unable to Connect"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "This device could not be verified.\nUpdate its software and try again."},
    {"TVVorlaneOK", "OK"},
    {"TVVorlanePlayerLive", "LIVE"},
    {"TVVorlanePlayerGoToLive", "Go to live"},
    {"TVVorlanePlayerSound", "Audio"},
    {"TVVorlanePlayerSubtitles", "Subtitles"},
    {"TVVorlanePlayerOff", "Off"},
    {"TVVorlanePlayerUnknownLanguage", "Unknown language"},
    {"TVVorlanePlayerHardOfHearing", "for the hard of hearing"},
    {"TVVorlanePlayerAudioDescription", "with audio description"},
    // Follows the name of a language, like the two above.
    {"TVVorlanePlayerCommentary", "commentary"},
    {"TVVorlanePlayerPercent", "{}%"},
    // Shown with a sign when the position is moved: "+10 s".
    {"TVVorlanePlayerSeconds", "{} s"},
    {"TVVorlanePlayerPaused", "Paused"},
    {"TVVorlanePlayerEnded", "This video has ended."},
    {"TVVorlanePlayerNotFound", "This video could not be found."},
    {"TVVorlanePlayerNoConnection", "There is no connection to this video."},
    {"TVVorlanePlayerTimedOut", "This video took too long to answer."},
    {"TVVorlanePlayerUnknownFormat", "The format of this video is not supported."},
    {"TVVorlanePlayerNotAllowed", "This video may not be played here."},
    {"TVVorlanePlayerFailed", "This video can't be played."},
    {"TVVorlanePlayerReplayHint", "Press Play to watch it again, or Home to leave."},
    {"TVVorlanePlayerRetryHint", "Press Play to try again, or Home to leave."},
};
}  // namespace

const Table en{"en", kEnglishTexts};

}  // namespace TVVorlaneStrings
