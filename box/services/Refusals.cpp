#include "box/services/Refusals.h"

#include <string_view>

#include "platform/foundation/Error.h"
#include "platform/media/TVSResourceLoadingRequest.h"

namespace box {

namespace {
constexpr std::int32_t kBadValueStatus = -6705;
constexpr std::int32_t kNotFoundStatus = -6727;
}  // namespace

std::optional<Refusal> refusalOfStartVideo(const platform::Dictionary& params) {
  if (params.string("Content-Location")) return std::nullopt;
  return Refusal{kBadValueStatus, "no \"Content-Location\" string"};
}

std::optional<Refusal> refusalOfAction(const std::string& action,
                                       const platform::Dictionary& params,
                                       const KeyRequestCheck& isKeyRequest) {
  if (action == "playlistRemove") {
    const auto item = params.dictionary("item");
    if (!item || !item->string("uuid"))
      return Refusal{kBadValueStatus, "an item without \"uuid\" string"};
  }
  if (action == "requestForStreamingKey" && isKeyRequest) {
    const auto context = params.dictionary("requestContext");
    if (!context) return std::nullopt;
    const auto request = context->number(platform::kCustomURLProviderRequestIDKey);
    if (request && !isKeyRequest(request->uint64Value())) {
      return Refusal{kNotFoundStatus, "the request is not one for a content key"};
    }
  }
  return std::nullopt;
}

platform::Dictionary errorInformation(std::int32_t status) {
  return {{"code", static_cast<std::int64_t>(status)},
          {"domain", platform::kStatusCodeErrorDomain}};
}

}  // namespace box
