#pragma once

#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "streaming/playback/StreamedItem.h"
#include "streaming/transfer/Transfer.h"

namespace streaming {

/// What became of the requests of an item: what could not be had, and which server sent which
/// representation when. Any thread.
class TransferRecord {
 public:
  /// `statistics`: of the item so far.
  explicit TransferRecord(std::function<TransferStatistics()> statistics)
      : _statistics(std::move(statistics)) {}

  /// Something is lost for the player.
  void addFault(platform::Date date, const std::string& url, const platform::Error& error);
  /// A request has failed whose answer the player may do without.
  void logFault(platform::Date date, const std::string& url, const platform::Error& error);
  /// Something is lost for the player, and is in the log already.
  void setFailure(const platform::Error& error);
  /// The first bytes of media have come. True: from another server, or of another representation,
  /// than those before, and a new leg has begun.
  bool mediaCame(MonotonicTime now, const std::string& representation,
                 std::optional<double> bitrate, double seconds);
  /// Some media have come of a track that does not make a leg.
  void otherMediaCame();

  std::optional<platform::Error> failure() const;
  std::vector<TransferFault> faults() const;
  std::vector<TransferLeg> legs(MonotonicTime now) const;

 private:
  struct Leg {
    TransferLeg leg;  // its statistics are what the item's were when it began
    MonotonicTime since;
    std::string server;
  };

  const std::function<TransferStatistics()> _statistics;
  mutable std::mutex _mutex;  // guards the rest
  std::optional<platform::Error> _failure;
  std::deque<TransferFault> _faults;
  std::deque<Leg> _legs;
};

}  // namespace streaming
