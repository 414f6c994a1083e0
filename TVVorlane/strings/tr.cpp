// Turkish.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Bu kodu aygıtınıza girin"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Bağlanılamıyor"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Bu aygıt doğrulanamadı. Yazılımını güncelleyip yeniden deneyin."},
    {"TVVorlaneOK", "Tamam"},
};
}  // namespace

const Table tr{"tr", kEntries};

}  // namespace TVVorlaneStrings
