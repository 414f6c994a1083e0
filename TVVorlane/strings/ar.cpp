#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kArabicTexts[] = {
    {"TVVorlanePINTitle", "أدخل هذا الرمز على جهازك"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "يتعذر الاتصال"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "تعذر التحقق من هذا الجهاز.\nحدّث برنامجه ثم حاول مرة أخرى."},
    {"TVVorlaneOK", "حسنًا"},
    {"TVVorlanePlayerLive", "مباشر"},
    {"TVVorlanePlayerGoToLive", "الانتقال إلى البث المباشر"},
    {"TVVorlanePlayerSound", "الصوت"},
    {"TVVorlanePlayerSubtitles", "الترجمة"},
    {"TVVorlanePlayerOff", "إيقاف"},
    {"TVVorlanePlayerUnknownLanguage", "لغة غير معروفة"},
    {"TVVorlanePlayerHardOfHearing", "لضعاف السمع"},
    {"TVVorlanePlayerAudioDescription", "مع وصف صوتي"},
    {"TVVorlanePlayerCommentary", "تعليق"},
    {"TVVorlanePlayerPercent", "{}%"},
    // Directional marks: the text runs right to left, and the unit is to the left of the number.
    {"TVVorlanePlayerSeconds", "\u200F\u200E{} ث"},
    {"TVVorlanePlayerPaused", "متوقف مؤقتًا"},
    {"TVVorlanePlayerEnded", "انتهى هذا الفيديو."},
    {"TVVorlanePlayerNotFound", "تعذر العثور على هذا الفيديو."},
    {"TVVorlanePlayerNoConnection", "لا يوجد اتصال بهذا الفيديو."},
    {"TVVorlanePlayerTimedOut", "استغرق هذا الفيديو وقتًا طويلاً للاستجابة."},
    {"TVVorlanePlayerUnknownFormat", "تنسيق هذا الفيديو غير مدعوم."},
    {"TVVorlanePlayerNotAllowed", "غير مسموح بتشغيل هذا الفيديو هنا."},
    {"TVVorlanePlayerFailed", "يتعذر تشغيل هذا الفيديو."},
    {"TVVorlanePlayerReplayHint",
     "اضغط على زر التشغيل للمشاهدة مرة أخرى،\nأو على زر الشاشة الرئيسية للخروج."},
    {"TVVorlanePlayerRetryHint",
     "اضغط على زر التشغيل للمحاولة مرة أخرى،\nأو على زر الشاشة الرئيسية للخروج."},
};
}  // namespace

const Table ar{"ar", kArabicTexts};

}  // namespace TVVorlaneStrings
