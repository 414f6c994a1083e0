#pragma once

#include <cstdint>

#include "streaming/choice/Throughput.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Measures the throughput of media transfers. Time is counted once while several transfers run,
/// because they share the network. Transfer thread only.
class ThroughputMeter {
 public:
  ThroughputMeter(const TransferSource& source, Throughput& throughput)
      : _source(source), _throughput(throughput) {}

  class Body {
   public:
    explicit Body(ThroughputMeter& meter) : _meter(meter) { _meter._begin(); }
    ~Body() { _meter._end(); }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    void addBytes(std::uint64_t bytes) { _meter._addBytes(bytes); }

   private:
    ThroughputMeter& _meter;
  };

 private:
  void _begin();
  void _addBytes(std::uint64_t bytes);
  void _end();
  void _measure();

  const TransferSource& _source;
  Throughput& _throughput;
  unsigned _count = 0;
  std::uint64_t _bytes = 0;
  MonotonicTime _since;
};

}  // namespace streaming
