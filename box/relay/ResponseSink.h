#pragma once

#include <functional>
#include <string_view>

#include "box/relay/ResourceHead.h"
#include "platform/foundation/Error.h"

namespace box {

/// Of no class: at a status of those of clients and servers demuxers of live media may end the
/// process (GStreamer 1.22).
constexpr int kClasslessStatus = 600;

/// Where the answer to an exchange goes. Threads: the relay's.
class ResponseSink {
 public:
  virtual ~ResponseSink() = default;

  /// `head.length` none: the length turns out at the end.
  virtual void begin(const ResourceHead& head) = 0;
  /// False: so much is waiting now that `drained` will be called when there is room again.
  virtual bool send(std::string_view bytes) = 0;
  virtual void finish() = 0;
  /// In place of begin() the answer is `status`. After it the body breaks off in a way that nobody
  /// can take for its end.
  virtual void fail(int status, const platform::Error& error) = 0;

  std::function<void()> drained;
  /// Whom it was for has gone. Neither is called from within the calls above.
  std::function<void()> gone;
};

}  // namespace box
