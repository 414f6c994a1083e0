#pragma once

#include <array>
#include <chrono>
#include <cstddef>

namespace box {

/// How long the relay waits and how much it takes. Tests shorten the times.
struct RelayBounds {
  std::chrono::milliseconds connect{15'000};  ///< name lookup and TLS included
  std::chrono::milliseconds stall{30'000};    ///< without a byte
  std::array<std::chrono::milliseconds, 3> backOff{std::chrono::milliseconds(250),
                                                   std::chrono::milliseconds(1000),
                                                   std::chrono::milliseconds(3000)};
  int redirects = 10;
  std::size_t headerBytes = std::size_t{256} * 1024;   ///< of all answers to one request
  std::size_t waitingBytes = std::size_t{512} * 1024;  ///< that the engine has not taken yet
};

}  // namespace box
