#pragma once

#include <cstdint>

#include "streaming/transfer/ItemCounters.h"

namespace streaming {

/// Measures the throughput of one transfer. Time during which the transfer is paused does not
/// count, nor does the first measurement after it: bytes have piled up meanwhile.
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
  bool _counted = false;  // as a body that is under way
  bool _isSpoilt = false;
  double _since = 0;
  std::uint64_t _bytes = 0;
};

}  // namespace streaming
