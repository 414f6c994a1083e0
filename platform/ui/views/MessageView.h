#pragma once

#include "platform/ui/views/View.h"

namespace platform {

/// Displays a message over the whole screen; invisible if the text is empty. Main thread.
class MessageView final : public View {
 public:
  MessageView() : View(kScreenBounds) {}
  std::string className() const override { return "MessageView"; }

  const MessageElement& message() const { return _message; }
  void setMessage(MessageElement message);

 protected:
  void appendElements(std::vector<SceneElement>& elements) const override;

 private:
  MessageElement _message;
};

}  // namespace platform
