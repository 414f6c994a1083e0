#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace streaming {

/// Timeouts and limits of transfers. Tests use shorter timeouts.
struct TransferLimits {
  std::chrono::milliseconds connect{15'000};  ///< including DNS lookup and TLS handshake
  std::chrono::milliseconds stall{30'000};    ///< without receiving a byte
  /// A transfer that receives less than `slowBytes` in this time is aborted.
  std::chrono::milliseconds slow{60'000};
  std::uint64_t slowBytes = 60 * 1024;
  std::array<std::chrono::milliseconds, 3> backOff{std::chrono::milliseconds(250),
                                                   std::chrono::milliseconds(1000),
                                                   std::chrono::milliseconds(3000)};
  int redirects = 10;
  /// Of all responses to one request, including trailers.
  std::size_t headerBytes = std::size_t{256} * 1024;
};

}  // namespace streaming
