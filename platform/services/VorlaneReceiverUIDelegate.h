#pragma once

#include <cstdint>
#include <string>

#include "platform/foundation/Dictionary.h"

/// The calls of the receiver service into the application. They are made one at a time on the queue
/// with which the delegate was registered, never on the main thread.
///
/// A status is 0 for success, otherwise an error code. `outputParams` may be null; it becomes empty
/// if the call returns no values. The start calls and the PIN actions of vorlaneUIPerform() block
/// without a time limit until the session is on screen.
class VorlaneReceiverUIDelegate {
 public:
  using Status = std::int32_t;

  virtual ~VorlaneReceiverUIDelegate() = default;

  /// `error` is written only on failure.
  virtual platform::Value vorlaneUIGetProperty(const std::string& property,
                                               const platform::Value& qualifier, Status* error) = 0;
  virtual Status vorlaneUISetProperty(const std::string& property, const platform::Value& qualifier,
                                      const platform::Value& value) = 0;
  virtual Status vorlaneUIPerform(const std::string& action,
                                  const platform::Dictionary& inputParams,
                                  platform::Dictionary* outputParams) = 0;
  virtual Status vorlaneUIStartPresentation(const platform::Dictionary& params,
                                            platform::Dictionary* outputParams) = 0;
  virtual Status vorlaneUIStopPresentation(const platform::Dictionary& params) = 0;
  virtual Status vorlaneUIShowProgress() = 0;
  virtual Status vorlaneUIHideProgress() = 0;
  /// Reports user activity. Any thread.
  virtual void vorlaneUIActivity() = 0;
  virtual Status vorlaneUIStartAudio(const platform::Dictionary& params,
                                     platform::Dictionary* outputParams) = 0;
  virtual Status vorlaneUIStopAudio(const platform::Dictionary& params) = 0;
  virtual Status vorlaneUIUpdateAudioMetaData(const platform::Dictionary& params) = 0;
  /// Both in seconds.
  virtual Status vorlaneUIUpdateAudioProgress(double elapsed, double duration) = 0;
  virtual Status vorlaneUIStartVideo(const platform::Dictionary& params,
                                     platform::Dictionary* outputParams) = 0;
  virtual Status vorlaneUIStopVideo(const platform::Dictionary& params) = 0;
};
