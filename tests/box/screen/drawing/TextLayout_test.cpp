#include "box/screen/drawing/TextLayout.h"

#include <cstdlib>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "box/screen/drawing/TextRenderer.h"
#include "tests/support/RefusedThreads.h"

namespace box::test {
namespace {

/// Returns the families of the fonts that Pango has selected.
std::set<std::string> familiesOf(PangoLayout* layout) {
  std::set<std::string> families;
  const PangoLayoutIterPtr iter(pango_layout_get_iter(layout));
  do {
    const PangoLayoutRun* const run = pango_layout_iter_get_run_readonly(iter.get());
    if (!run) continue;
    const std::unique_ptr<PangoFontDescription, PangoDeleter> font(
        pango_font_describe(run->item->analysis.font));
    families.insert(pango_font_description_get_family(font.get()));
  } while (pango_layout_iter_next_run(iter.get()));
  return families;
}

void setTextWithoutAThread() {
  TextRenderer texts("en");
  texts.warmUp();
  testing_support::refuseThreads();
  // A new size, so that Pango has to search for fonts.
  const auto layout =
      makeTextLayout(texts.context(), "New", {77, PANGO_WEIGHT_NORMAL}, PANGO_ALIGN_LEFT, nullptr);
  std::_Exit(familiesOf(layout.get()) == std::set<std::string>{"Noto Sans"} ? 0 : 1);
}

TEST(TextLayout, WorksWithoutAThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(setTextWithoutAThread(), testing::ExitedWithCode(0), "");
}

TEST(TextLayout, UsesAFontFamilyForEachScript) {
  const struct {
    const char* language;  // of the box
    const char* text;
    const char* family;
  } cases[]{{"en", "Enter this code", "Noto Sans"},
            {"ru", "Введите код", "Noto Sans"},
            {"ar", "أدخل هذا الرمز", "Noto Sans Arabic"},
            {"en", "أدخل هذا الرمز", "Noto Sans Arabic"},
            {"he", "יש להזין", "Noto Sans Hebrew"},
            {"hi", "यह कोड दर्ज करें", "Noto Sans Devanagari"},
            {"en", "ภาษาไทย", "Noto Sans Thai"},
            {"ja", "コードを入力", "Noto Sans CJK JP"},
            {"en", "コードを入力", "Noto Sans CJK JP"},
            {"ko", "코드를 입력하세요", "Noto Sans CJK KR"},
            {"zh_Hans", "输入此代码", "Noto Sans CJK SC"},
            {"zh_Hant", "輸入此代碼", "Noto Sans CJK TC"},
            {"zh_Hans", "直線の道", "Noto Sans CJK JP"}};
  for (const auto& testCase : cases) {
    const TextRenderer texts(testCase.language);
    for (const PangoWeight weight : {PANGO_WEIGHT_NORMAL, PANGO_WEIGHT_SEMIBOLD}) {
      const auto layout =
          makeTextLayout(texts.context(), testCase.text, {36, weight}, PANGO_ALIGN_LEFT, nullptr);
      EXPECT_EQ(familiesOf(layout.get()), std::set<std::string>{testCase.family})
          << testCase.text << " on a box in " << testCase.language
          << "; scripts/setup installs the fonts";
    }
  }
}

}  // namespace
}  // namespace box::test
