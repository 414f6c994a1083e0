#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "streaming/transfer/Bandwidth.h"
#include "streaming/transfer/TransferStatistics.h"

namespace streaming {

double monotonicSeconds();

/// Statistics of the transfers of one item. Any thread.
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
  /// The reception of a body starts or stops. Calls must be balanced.
  void bodyBegan();
  void bodyStopped();
  /// A transfer starts or stops to wait for the network or the sender. Calls must be balanced.
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
