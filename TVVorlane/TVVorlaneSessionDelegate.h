#pragma once

#include <optional>
#include <string>

#include "platform/foundation/Value.h"

class TVVorlaneSession;

/// Hears what a session has to tell its sender. Main thread.
class TVVorlaneSessionDelegate {
 public:
  virtual ~TVVorlaneSessionDelegate() = default;
  virtual void session(TVVorlaneSession& session, const std::string& didPerformEvent,
                       const std::optional<platform::Dictionary>& withInfo) = 0;
};
