#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/services/VorlaneReceiverUIDelegate.h"

/// Records its calls and returns the results that the test has set.
class RecordingReceiver : public VorlaneReceiverUIDelegate {
 public:
  using Dictionary = platform::Dictionary;
  using Value = platform::Value;

  std::function<void()> whileCalled;  ///< runs inside every call, on the receiver queue
  Status status = 0;
  Value value;
  Dictionary out;

  std::vector<std::string> calls() const {
    const std::lock_guard lock(_mutex);
    return _calls;
  }
  Value lastArgument() const {
    const std::lock_guard lock(_mutex);
    return _lastArgument;
  }
  Value lastQualifier() const {
    const std::lock_guard lock(_mutex);
    return _lastQualifier;
  }

  Value vorlaneUIGetProperty(const std::string& property, const Value& qualifier,
                             Status* error) override {
    _lastQualifierIs(qualifier);
    if (const Status result = _called("get " + property, {})) *error = result;
    return value;
  }
  Status vorlaneUISetProperty(const std::string& property, const Value& qualifier,
                              const Value& newValue) override {
    _lastQualifierIs(qualifier);
    return _called("set " + property, newValue);
  }
  Status vorlaneUIPerform(const std::string& action, const Dictionary& params,
                          Dictionary* outParams) override {
    *outParams = out;
    return _called("perform " + action, params);
  }
  Status vorlaneUIStartPresentation(const Dictionary& params, Dictionary* outParams) override {
    *outParams = out;
    return _called("start presentation", params);
  }
  Status vorlaneUIStopPresentation(const Dictionary& params) override {
    return _called("stop presentation", params);
  }
  Status vorlaneUIShowProgress() override { return _called("show", {}); }
  Status vorlaneUIHideProgress() override { return _called("hide", {}); }
  void vorlaneUIActivity() override { _called("activity", {}); }
  Status vorlaneUIStartAudio(const Dictionary& params, Dictionary* outParams) override {
    *outParams = out;
    return _called("start audio", params);
  }
  Status vorlaneUIStopAudio(const Dictionary& params) override {
    return _called("stop audio", params);
  }
  Status vorlaneUIUpdateAudioMetaData(const Dictionary& params) override {
    return _called("metadata", params);
  }
  Status vorlaneUIUpdateAudioProgress(double elapsed, double duration) override {
    return _called("progress", platform::Array{elapsed, duration});
  }
  Status vorlaneUIStartVideo(const Dictionary& params, Dictionary* outParams) override {
    *outParams = out;
    return _called("start video", params);
  }
  Status vorlaneUIStopVideo(const Dictionary& params) override {
    return _called("stop video", params);
  }

 private:
  void _lastQualifierIs(const Value& qualifier) {
    const std::lock_guard lock(_mutex);
    _lastQualifier = qualifier;
  }
  Status _called(std::string name, Value argument) {
    {
      const std::lock_guard lock(_mutex);
      _calls.push_back(std::move(name));
      _lastArgument = std::move(argument);
    }
    if (whileCalled) whileCalled();
    return status;
  }

  mutable std::mutex _mutex;
  std::vector<std::string> _calls;
  Value _lastArgument;
  Value _lastQualifier;
};
