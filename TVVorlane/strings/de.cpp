// German.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Gib diesen Code auf deinem Gerät ein"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Verbindung nicht möglich"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Dieses Gerät konnte nicht überprüft werden. Aktualisiere seine Software und versuche es "
     "erneut."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table de{"de", kEntries};

}  // namespace TVVorlaneStrings
