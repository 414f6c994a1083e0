#pragma once

#include <memory>

#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/views/DigitGroupView.h"
#include "platform/ui/views/Label.h"

namespace platform {

/// A title above a row of digit boxes. Both may be set before the view is loaded. The controller
/// handles no input, whether it is editable or not: no code is entered with the remote control.
/// Main thread.
class DigitEntryViewController final : public ViewController {
 public:
  explicit DigitEntryViewController(int digits);
  std::string className() const override { return "DigitEntryViewController"; }

  int digits() const { return _digitGroupView->boxes(); }
  bool isEditable() const { return _editable; }
  void setEditable(bool editable) { _editable = editable; }
  const std::shared_ptr<Label>& titleLabel() const { return _titleLabel; }
  const std::shared_ptr<DigitGroupView>& digitGroupView() const { return _digitGroupView; }

 protected:
  std::shared_ptr<View> loadView() override;

 private:
  const std::shared_ptr<Label> _titleLabel;
  const std::shared_ptr<DigitGroupView> _digitGroupView;
  bool _editable = true;
};

}  // namespace platform
