#pragma once

#include <cstdint>

#include "box/relay/ItemRecord.h"

namespace box {

/// Measures one transfer for the record of its item. Time during which the engine is waited for is
/// not the network's; and what has gathered meanwhile comes all at once, so the first measurement
/// after it does not count.
class TransferMeter {
 public:
  explicit TransferMeter(ItemRecord& record) : _record(record) {}
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

  ItemRecord& _record;
  bool _begun = false;
  bool _counted = false;  // as a body under way
  bool _spoilt = false;
  double _since = 0;
  std::uint64_t _bytes = 0;
};

}  // namespace box
