#include "box/services/dbus/Refusals.h"

#include <string_view>

#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

namespace box {

namespace {
constexpr std::int32_t kBadValueStatus = -6705;
constexpr std::int32_t kNotFoundStatus = -6727;
}  // namespace

std::optional<Refusal> refusalOfStartVideo(const platform::Dictionary& params) {
  // The application replies itself if the URL has the wrong type.
  if (params.contains("Content-Location")) return std::nullopt;
  return Refusal{kBadValueStatus, "\"Content-Location\" is missing"};
}

std::optional<Refusal> refusalOfAction(const std::string& action,
                                       const platform::Dictionary& params,
                                       const FatalActionCheck& isFatal) {
  const bool removes = action == "playlistRemove";
  if (!isFatal || (!removes && action != "requestForStreamingKey")) return std::nullopt;
  if (!isFatal(action, params)) return std::nullopt;
  if (removes) return Refusal{kBadValueStatus, "\"uuid\" of the item is missing"};
  return Refusal{kNotFoundStatus, "the request is not a content key request"};
}

platform::Dictionary errorInformation(std::int32_t status) {
  return {{"code", static_cast<std::int64_t>(status)},
          {"domain", platform::kStatusCodeErrorDomain}};
}

}  // namespace box
