// Portuguese.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "Introduza este código no seu dispositivo"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "Não foi possível ligar"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "Não foi possível verificar este dispositivo. Atualize o software e tente novamente."},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table pt{"pt", kEntries};

}  // namespace TVVorlaneStrings
