#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Dictionary.h"

class TVVorlaneSession;

/// Receives the events that a session posts to its sender. Main thread.
class TVVorlaneSessionDelegate {
 public:
  virtual ~TVVorlaneSessionDelegate() = default;
  virtual void session(TVVorlaneSession& session, const std::string& didPerformEvent,
                       const std::optional<platform::Dictionary>& withInfo) = 0;
};
