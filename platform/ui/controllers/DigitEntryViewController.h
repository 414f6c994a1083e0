#pragma once

#include <memory>

#include "platform/ui/controllers/ViewController.h"
#include "platform/ui/views/DigitGroupView.h"
#include "platform/ui/views/Label.h"

namespace platform {

/// A title above a fixed number of digit boxes. Both may be filled before the view is loaded.
///
/// Whether it is editable is kept for whoever asks: on this box no code is typed with the remote,
/// so that it takes no input either way. Main thread.
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
