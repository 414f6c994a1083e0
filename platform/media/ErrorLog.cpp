#include "platform/media/ErrorLog.h"

#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/Value.h"
#include "platform/media/MediaLogKeys.h"

namespace platform {
namespace {

/// Limits the memory for a long playlist of failing items.
constexpr std::size_t kErrorLogLimit = 100;

}  // namespace

void appendToErrorLog(Array& log, const FailedRequest& failure) {
  Dictionary entry{{std::string(kErrorLogDate), failure.date}};
  if (!failure.url.empty()) entry.set(kErrorLogURI, failure.url);
  entry.set(kErrorLogStatusCode, failure.error.code);
  entry.set(kErrorLogDomain, failure.error.domain);
  if (failure.error.localizedDescription)
    entry.set(kErrorLogComment, *failure.error.localizedDescription);
  if (log.size() >= kErrorLogLimit) log = Array(std::vector<Value>(log.begin() + 1, log.end()));
  log.append(std::move(entry));
}

}  // namespace platform
