#pragma once

#include "TVVorlane/TVVorlaneReceiverDelegate.h"
#include "tests/TVVorlane/Support.h"

/// A receiver delegate, with helpers that make the calls of the receiver service.
class ReceiverDelegateTest : public SessionTest {
 protected:
  using Status = VorlaneReceiverUIDelegate::Status;

  Status startVideo(const Dictionary& params) {
    return box.call([&] { return delegate->vorlaneUIStartVideo(params, &out); });
  }
  auto beginStartVideo(const Dictionary& params) {
    return box.beginCall([this, params] { return delegate->vorlaneUIStartVideo(params, nullptr); });
  }
  Status stopVideo(const Dictionary& params) {
    return box.call([&] { return delegate->vorlaneUIStopVideo(params); });
  }
  Status perform(const std::string& action, const Dictionary& params) {
    return box.call([&] { return delegate->vorlaneUIPerform(action, params, &out); });
  }
  Status set(const std::string& property, const Value& value) {
    return box.call([&] { return delegate->vorlaneUISetProperty(property, {}, value); });
  }
  Value get(const std::string& property, Status* status) {
    return box.call([&] { return delegate->vorlaneUIGetProperty(property, {}, status); });
  }
  /// Log lines of the delegate since the last call.
  Texts takeLog() {
    box.run();
    auto texts = logTexts(box, "TVVLCommunication");
    box.clearLog();
    return texts;
  }

  std::shared_ptr<TVVorlaneReceiverDelegate> delegate = TVVorlaneReceiverDelegate::make();
  Dictionary out{{"stale", 1}};
};
