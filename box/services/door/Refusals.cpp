#include "box/services/door/Refusals.h"

#include <string_view>

#include "platform/foundation/Error.h"

namespace box {

namespace {
constexpr std::int32_t kBadValueStatus = -6705;
constexpr std::int32_t kNotFoundStatus = -6727;
}  // namespace

std::optional<Refusal> refusalOfStartVideo(const platform::Dictionary& params) {
  // A URL of the wrong type is answered by the application.
  if (params.contains("Content-Location")) return std::nullopt;
  return Refusal{kBadValueStatus, "no \"Content-Location\""};
}

std::optional<Refusal> refusalOfAction(const std::string& action,
                                       const platform::Dictionary& params,
                                       const FatalActionCheck& isFatal) {
  const bool removes = action == "playlistRemove";
  if (!isFatal || (!removes && action != "requestForStreamingKey")) return std::nullopt;
  if (!isFatal(action, params)) return std::nullopt;
  if (removes) return Refusal{kBadValueStatus, "an item without \"uuid\""};
  return Refusal{kNotFoundStatus, "the request is not one for a content key"};
}

platform::Dictionary errorInformation(std::int32_t status) {
  return {{"code", static_cast<std::int64_t>(status)},
          {"domain", platform::kStatusCodeErrorDomain}};
}

}  // namespace box
