#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace streaming {

struct TransferStatistics {
  std::uint64_t requestCount = 0;      ///< to servers, including retries
  std::uint64_t bytesTransferred = 0;  ///< of bodies
  double transferSeconds = 0;          ///< during which at least one body was being received
  std::uint64_t stallCount = 0;        ///< transfers that timed out
  std::uint64_t retryCount = 0;
  std::optional<double> observedBitrate;  ///< bits per second; recent transfers weigh more
  std::optional<double> observedBitrateDeviation;
  std::string serverAddress;  ///< of the latest connection
};

}  // namespace streaming
