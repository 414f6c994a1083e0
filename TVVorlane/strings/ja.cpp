// Japanese.

#include "TVVorlane/strings/StringTable.h"

namespace TVVorlaneStrings {

namespace {
constexpr Entry kEntries[] = {
    {"TVVorlanePINTitle", "お使いのデバイスでこのコードを入力してください"},
    {"VorlaneSecurityVerifyFailureDialogLabel", "接続できません"},
    {"VorlaneSecurityVerifyFailureDialogText",
     "このデバイスを確認できませんでした。ソフトウェアをアップデートして、もう一度お試しください"
     "。"},
    {"TVVorlaneOK", "OK"},
};
}  // namespace

const Table ja{"ja", kEntries};

}  // namespace TVVorlaneStrings
