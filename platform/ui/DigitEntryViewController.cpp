#include "platform/ui/DigitEntryViewController.h"

namespace platform {

namespace {

constexpr double kTitleHeight = 200;
constexpr double kDigitsHeight = 200;
constexpr double kSpacing = 60;

/// Keeps the title and the digits, as one block, in the middle.
class DigitEntryView final : public View {
 public:
  DigitEntryView(std::shared_ptr<View> title, std::shared_ptr<View> digits)
      : View(kScreenBounds), _title(std::move(title)), _digits(std::move(digits)) {
    addSubview(_title);
    addSubview(_digits);
  }
  std::string className() const override { return "DigitEntryView"; }

 protected:
  void layoutSubviews() override {
    const double left = bounds().width * kSafeAreaFraction;
    const double width = bounds().width - 2 * left;
    const double top = (bounds().height - kTitleHeight - kSpacing - kDigitsHeight) / 2;
    _title->setFrame({left, top, width, kTitleHeight});
    _digits->setFrame({left, top + kTitleHeight + kSpacing, width, kDigitsHeight});
  }

 private:
  const std::shared_ptr<View> _title;
  const std::shared_ptr<View> _digits;
};

}  // namespace

DigitEntryViewController::DigitEntryViewController(int digits)
    : _titleLabel(std::make_shared<Label>()),
      _digitGroupView(std::make_shared<DigitGroupView>(digits)) {
  _titleLabel->setTextStyle(TextStyle::Title);
  _titleLabel->setTextAlignment(TextAlignment::Center);
}

std::shared_ptr<View> DigitEntryViewController::loadView() {
  return std::make_shared<DigitEntryView>(_titleLabel, _digitGroupView);
}

}  // namespace platform
