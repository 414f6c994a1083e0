#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "box/relay/Bandwidth.h"
#include "box/relay/MediaTimeline.h"
#include "box/relay/RelayItem.h"

namespace box {

/// Seconds of a clock that only goes forward.
double monotonicSeconds();

/// What is known of an item's exchanges. Threads: any; nobody is called from here.
class ItemRecord {
 public:
  std::optional<platform::Error> failure() const;
  bool isBusy() const;
  RelayStatistics statistics() const;
  std::vector<RelayedRange> ranges() const;
  std::shared_ptr<const MediaTimeline> timeline() const;
  std::vector<std::shared_ptr<const MediaTimeline>> timelines() const;
  std::shared_ptr<const StreamOffers> offers() const;
  std::vector<RelayLeg> legs() const;

  void addRequest();
  void addRetry();
  void addStall();
  void addBytes(std::uint64_t count);
  void addMeasurement(std::uint64_t bytes, double seconds);
  void setServerAddress(std::string address);
  /// A body begins or stops to be under way; balanced.
  void bodyBegan();
  void bodyStopped();

  struct FailureVerdict {
    bool isNews;      ///< the last one was of another kind
    bool isHopeless;  ///< there is no point in trying on
  };
  /// `isItself`: what failed is what the item's own URL names.
  FailureVerdict addFailure(const platform::Error& error, bool isItself);
  /// Bytes of media, not of playlists or keys, are on their way: what failed before is no reason
  /// for the engine to fail any more.
  void mediaPassed();

  /// Exchanges that the relay will bring to an end; balanced.
  void becameBusy();
  void becameIdle();

  /// The media at `url` begin to come. True: from another server, or of another variant, than those
  /// before, and a new leg has begun. `isItself`: it is what the item's own URL names.
  bool noteSource(const std::string& url, bool isItself);
  /// Of the picture, the sound or the texts of media that go on to come.
  bool isLiveSegment(const std::string& url) const;
  /// The identifier of a new range, which grows from `begin`.
  std::uint64_t beginRange(std::string url, std::uint64_t begin,
                           std::optional<std::uint64_t> total);
  void extendRange(std::uint64_t identifier, std::uint64_t count);
  void completeRange(std::uint64_t identifier);

  /// The playlist at `url` is not the picture's, but one of sound, or of text.
  void noteAlternate(const std::string& url, bool isSound);
  std::shared_ptr<const MediaTimeline> timelineOf(const std::string& url) const;
  void setTimeline(const std::string& url, std::shared_ptr<const MediaTimeline> timeline);
  void setOffers(std::shared_ptr<const StreamOffers> offers);

 private:
  struct Range {
    std::uint64_t identifier;
    RelayedRange range;
  };
  struct Timeline {
    std::shared_ptr<const MediaTimeline> timeline;
    std::uint64_t age = 0;  // the higher, the newer
  };
  struct Leg {
    RelayLeg leg;  // its statistics are what the item's were when it began
    double since = 0;
    std::string server;
  };
  struct Source {
    std::string variant;
    double duration = 0;
  };
  Range* _range(std::uint64_t identifier);
  RelayStatistics _now() const;
  int _kindOf(const std::string& playlist) const;
  int _bestKind() const;
  std::optional<Source> _sourceOf(const std::string& url) const;

  mutable std::mutex _mutex;
  RelayStatistics _statistics;
  Bandwidth _bandwidth;
  std::optional<platform::Error> _failure;  // the first since media passed
  std::optional<platform::Error> _newestFailure;
  unsigned _failuresInARow = 0;
  bool _mediaHavePassed = false;
  unsigned _busy = 0;
  unsigned _bodies = 0;
  double _bodiesSince = 0;
  std::uint64_t _rangeCount = 0;
  std::deque<Range> _ranges;
  std::map<std::string, Timeline> _timelines;
  std::uint64_t _timelineCount = 0;
  std::shared_ptr<const StreamOffers> _offers;
  std::deque<Leg> _legs{Leg{{}, monotonicSeconds(), {}}};
  std::optional<std::string> _server;       // of the media that came last
  std::map<std::string, bool> _alternates;  // by their URLs; whether they are sound
};

}  // namespace box
