// French.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Saisissez ce code sur votre appareil"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Connexion impossible"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Cet appareil n’a pas pu être vérifié. Mettez son logiciel à jour et réessayez."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table fr{"fr", kEntries};

}  // namespace TVVorlaneStrings
