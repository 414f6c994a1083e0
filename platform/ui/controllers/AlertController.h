#pragma once

#include <functional>
#include <string>
#include <vector>

#include "platform/ui/controllers/ViewController.h"

namespace platform {

class AlertView;

enum class AlertActionStyle { Default, Cancel };

struct AlertAction {
  std::string title;
  AlertActionStyle style = AlertActionStyle::Default;
  std::function<void()> handler;
};

/// A modal message with buttons. The arrow keys move the focus, Select activates the focused
/// button, and Menu activates the cancel action. All other input is consumed. An activated button
/// dismisses the alert, then calls its handler. Main thread.
class AlertController final : public ViewController {
 public:
  AlertController(const std::string& title, std::string message);
  std::string className() const override { return "AlertController"; }

  void setTitle(const std::string& title) override;
  const std::string& message() const { return _message; }
  void setMessage(const std::string& message);
  void addAction(AlertAction action);
  const std::vector<AlertAction>& actions() const { return _actions; }

  bool handleInput(const InputEvent& event) override;

 protected:
  std::shared_ptr<View> loadView() override;

 private:
  void _press(std::size_t index);
  void _moveFocus(bool forward);
  void _update();

  std::string _message;
  std::vector<AlertAction> _actions;
  std::size_t _focused = 0;
  std::shared_ptr<AlertView> _alertView;
};

}  // namespace platform
