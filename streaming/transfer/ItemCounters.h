#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "streaming/transfer/Bandwidth.h"
#include "streaming/transfer/TransferStatistics.h"

namespace streaming {

/// Seconds of a clock that never goes back.
double monotonicSeconds();

/// Counts what the transfers of one item do. Any thread.
class ItemCounters {
 public:
  TransferStatistics statistics() const;
  bool isBusy() const;

  void addRequest();
  void addRetry();
  void addStall();
  void addBytes(std::uint64_t count);
  void addMeasurement(std::uint64_t bytes, double seconds);
  void setServerAddress(std::string address);
  /// A body begins or stops to be under way; balanced.
  void bodyBegan();
  void bodyStopped();
  /// Transfers that wait for the network or the sender; balanced.
  void becameBusy();
  void becameIdle();

 private:
  mutable std::mutex _mutex;  // guards the rest
  TransferStatistics _statistics;
  Bandwidth _bandwidth;
  unsigned _busy = 0;
  unsigned _bodies = 0;
  double _bodiesSince = 0;
};

}  // namespace streaming
