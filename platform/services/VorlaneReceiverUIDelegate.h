#pragma once

#include <cstdint>
#include <string>

#include "platform/foundation/Value.h"

/// The interface through which the receiver service calls the application: fourteen calls, made one
/// at a time on the queue that the delegate was registered with, never on the main thread.
///
/// Every status is 0 for success, otherwise an error code. An out dictionary may be null when the
/// caller does not want it; it becomes empty when the call has nothing to say. The start calls and
/// the PIN actions of perform return when the session is on screen; they have no time limit.
class VorlaneReceiverUIDelegate {
 public:
  using Status = std::int32_t;

  virtual ~VorlaneReceiverUIDelegate() = default;

  /// `error` is written only when the status is not 0.
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
  /// Reports user activity; any thread.
  virtual void vorlaneUIActivity() = 0;
  virtual Status vorlaneUIStartAudio(const platform::Dictionary& params,
                                     platform::Dictionary* outputParams) = 0;
  virtual Status vorlaneUIStopAudio(const platform::Dictionary& params) = 0;
  virtual Status vorlaneUIUpdateAudioMetaData(const platform::Dictionary& params) = 0;
  /// Seconds.
  virtual Status vorlaneUIUpdateAudioProgress(double elapsed, double duration) = 0;
  virtual Status vorlaneUIStartVideo(const platform::Dictionary& params,
                                     platform::Dictionary* outputParams) = 0;
  virtual Status vorlaneUIStopVideo(const platform::Dictionary& params) = 0;
};
