#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace streaming {

/// How long transfers wait and how much they take. Tests shorten the times.
struct TransferBounds {
  std::chrono::milliseconds connect{15'000};  ///< name lookup and TLS included
  std::chrono::milliseconds stall{30'000};    ///< without a byte
  /// A transfer that brings less than `slowBytes` in this time ends.
  std::chrono::milliseconds slow{60'000};
  std::uint64_t slowBytes = 60 * 1024;
  std::array<std::chrono::milliseconds, 3> backOff{std::chrono::milliseconds(250),
                                                   std::chrono::milliseconds(1000),
                                                   std::chrono::milliseconds(3000)};
  int redirects = 10;
  std::size_t headerBytes = std::size_t{256} * 1024;  ///< of all responses to one request, trailers
                                                      ///< included
};

}  // namespace streaming
