#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "platform/foundation/Error.h"
#include "streaming/playback/loading/SpanFilter.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

struct FetchedBody {
  ResponseHead head;
  std::string bytes;
};
using FetchResult = std::variant<FetchedBody, platform::Error>;

/// Loads a small resource as a whole. Transfer thread only. Destroying it cancels the request. It
/// may be destroyed in `done`.
class BodyFetch final : private TransferObserver {
 public:
  /// A body longer than `most` is an error.
  BodyFetch(TransferSource& source, const TransferRequest& request, std::size_t most,
            std::function<void(FetchResult)> done);

 private:
  BodyFlow transferGotHead(const ResponseHead& head) override;
  BodyFlow transferGotBytes(std::string_view bytes) override;
  void transferEnded(const std::optional<platform::Error>& error) override;
  BodyFlow _refuse(const char* reason);

  const std::size_t _most;
  std::function<void(FetchResult)> _done;
  FetchedBody _body;
  SpanFilter _filter;
  std::optional<platform::Error> _refusal;
  std::unique_ptr<Transfer> _transfer;
};

}  // namespace streaming
