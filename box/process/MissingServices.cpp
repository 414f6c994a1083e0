#include "box/process/MissingServices.h"

#include "platform/foundation/log/TVSLogger.h"

namespace box {

void MissingService::report() {
  if (_reported.exchange(true)) return;
  TVSLogNotice(TVSSystemLog, "Not available on this box: %@", _name);
}

}  // namespace box
