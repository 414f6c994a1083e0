#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace streaming {

/// What went over the network for an item so far.
struct TransferStatistics {
  std::uint64_t requestCount = 0;      ///< to servers, retries included
  std::uint64_t bytesTransferred = 0;  ///< of bodies
  double transferSeconds = 0;          ///< during which at least one body was under way
  std::uint64_t stallCount = 0;        ///< transfers that went silent
  std::uint64_t retryCount = 0;
  std::optional<double> observedBitrate;  ///< bits a second, recent transfers weighing more
  std::optional<double> observedBitrateDeviation;
  std::string serverAddress;  ///< of the newest connection
};

}  // namespace streaming
