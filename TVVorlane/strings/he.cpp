#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kHebrewTexts[] = {
    {"TVVorlanePINTitle", "יש להזין את הקוד הזה במכשיר שלך"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "לא ניתן להתחבר"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "לא ניתן לאמת את המכשיר הזה.\nיש לעדכן את התוכנה שלו ולנסות שוב."},
    {"TVVorlaneOK", "אישור"},
    {"TVVorlanePlayerLive", "שידור חי"},
    {"TVVorlanePlayerGoToLive", "מעבר לשידור חי"},
    {"TVVorlanePlayerSound", "שמע"},
    {"TVVorlanePlayerSubtitles", "כתוביות"},
    {"TVVorlanePlayerOff", "כבוי"},
    {"TVVorlanePlayerUnknownLanguage", "שפה לא ידועה"},
    {"TVVorlanePlayerHardOfHearing", "לכבדי שמיעה"},
    {"TVVorlanePlayerAudioDescription", "עם תיאור קולי"},
    {"TVVorlanePlayerCommentary", "פרשנות"},
    {"TVVorlanePlayerPercent", "{}%"},
    // Directional marks: the text runs right to left, and the unit is to the left of the number.
    {"TVVorlanePlayerSeconds", "\u200F\u200E{} שנ׳"},
    {"TVVorlanePlayerPaused", "מושהה"},
    {"TVVorlanePlayerEnded", "הסרטון הסתיים."},
    {"TVVorlanePlayerNotFound", "הסרטון לא נמצא."},
    {"TVVorlanePlayerNoConnection", "אין חיבור לסרטון הזה."},
    {"TVVorlanePlayerTimedOut", "הסרטון לא הגיב זמן רב מדי."},
    {"TVVorlanePlayerUnknownFormat", "הפורמט של הסרטון אינו נתמך."},
    {"TVVorlanePlayerNotAllowed", "אסור להפעיל את הסרטון הזה כאן."},
    {"TVVorlanePlayerFailed", "לא ניתן להפעיל את הסרטון."},
    {"TVVorlanePlayerReplayHint", "יש ללחוץ על הפעלה כדי לצפות שוב, או על בית כדי לצאת."},
    {"TVVorlanePlayerRetryHint", "יש ללחוץ על הפעלה כדי לנסות שוב, או על בית כדי לצאת."},
};
}  // namespace

const Table he{"he", kHebrewTexts};

}  // namespace TVVorlaneStrings
