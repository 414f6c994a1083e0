#pragma once

#include <cstdint>

#include "streaming/transfer/ItemCounters.h"

namespace streaming {

/// Measures the throughput of one transfer. Pauses do not count. The first measurement after a
/// pause is discarded, because it includes bytes that were buffered during the pause.
class TransferMeter {
 public:
  explicit TransferMeter(ItemCounters& counters) : _counters(counters) {}
  ~TransferMeter() { end(); }
  TransferMeter(const TransferMeter&) = delete;
  TransferMeter& operator=(const TransferMeter&) = delete;

  void begin();
  void got(std::uint64_t bytes);
  void pause();
  void resume();
  void end();

 private:
  void _measure(double now);

  ItemCounters& _counters;
  bool _begun = false;
  bool _counted = false;  // bodyBegan() was called
  bool _discardsNext = false;
  double _since = 0;
  std::uint64_t _bytes = 0;
};

}  // namespace streaming
