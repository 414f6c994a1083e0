#include "box/process/NotThere.h"

#include "platform/foundation/log/TVSLogger.h"

namespace box {

void Absence::tell() {
  if (_told.exchange(true)) return;
  TVSLogNotice(TVSSystemLog, "Not available on this box: %@", _what);
}

}  // namespace box
