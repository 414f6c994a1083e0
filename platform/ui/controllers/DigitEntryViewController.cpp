#include "platform/ui/controllers/DigitEntryViewController.h"

#include <utility>

namespace platform {

namespace {

/// Title and digits are one element, because only the renderer knows the height of the title and
/// can center both as one block. The two subviews hold the values and are hidden.
class DigitEntryView final : public View {
 public:
  DigitEntryView(std::shared_ptr<Label> title, std::shared_ptr<DigitGroupView> digits)
      : View(kScreenBounds), _title(std::move(title)), _digits(std::move(digits)) {
    for (const std::shared_ptr<View>& view :
         {std::shared_ptr<View>(_title), std::shared_ptr<View>(_digits)}) {
      view->setHidden(true);
      addSubview(view);
    }
  }
  std::string className() const override { return "DigitEntryView"; }

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override {
    elements.emplace_back(
        DigitsElement{_digits->text(), _digits->boxes(), _title->text(), _title->textColor()});
  }

 private:
  const std::shared_ptr<Label> _title;
  const std::shared_ptr<DigitGroupView> _digits;
};

}  // namespace

DigitEntryViewController::DigitEntryViewController(int digits)
    : _titleLabel(std::make_shared<Label>()),
      _digitGroupView(std::make_shared<DigitGroupView>(digits)) {}

std::shared_ptr<View> DigitEntryViewController::loadView() {
  return std::make_shared<DigitEntryView>(_titleLabel, _digitGroupView);
}

}  // namespace platform
