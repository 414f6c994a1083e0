#include "media/support/LibavLog.h"

#include <mutex>

extern "C" {
#include <libavutil/log.h>
}

namespace media {

void silenceLibav() {
  static std::once_flag once;
  std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

}  // namespace media
