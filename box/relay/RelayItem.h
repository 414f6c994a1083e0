#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "box/relay/MediaTimeline.h"
#include "box/relay/StreamOffers.h"
#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Value.h"

namespace box {

using HeaderFields = std::vector<std::pair<std::string, std::string>>;

/// What the relay cannot fetch itself: a resource of a scheme that only the sender serves, or a
/// content key.
struct RelayQuestion {
  enum class Kind { Resource, Key };
  Kind kind = Kind::Resource;
  std::string url;
  std::string method = "GET";
  HeaderFields headers;  ///< those that matter to a server; Range among them
  friend bool operator==(const RelayQuestion&, const RelayQuestion&) = default;
};

/// The answer: an error, a redirect, or data.
struct RelayAnswer {
  std::optional<platform::Error> error;
  std::optional<std::string> redirectURL;
  int statusCode = 200;
  HeaderFields headers;
  std::shared_ptr<const platform::Bytes> data;
};

struct RelayCookie {
  std::string name;
  std::string value;
  std::string domain;  ///< empty: the host of the item's URL alone
  std::string path = "/";
  bool secure = false;
};

struct PreSharedKey {
  platform::Bytes identity;
  platform::Bytes secret;
};

struct RelayItemSetup {
  std::string url;        ///< as the sender wrote it
  std::string userAgent;  ///< empty: the relay's own
  HeaderFields headers;   ///< sent with every request to the host of `url`, never to another
  std::vector<RelayCookie> cookies;
  /// Without a query of their own, what a playlist refers to gets the query of the playlist's URL.
  bool inheritsQuery = false;
  bool usesDiskCache = false;
  std::optional<PreSharedKey> preSharedKey;
  /// Called on the relay's thread. `reply` may be called from any thread, at once or later; a
  /// second call, and one after the item is gone, does nothing. The relay waits for it without a
  /// bound: whoever answers keeps one.
  std::function<void(RelayQuestion, std::function<void(RelayAnswer)> reply)> ask;
};

/// What went through for an item so far.
struct RelayStatistics {
  std::uint64_t requestCount = 0;      ///< to servers, retries included
  std::uint64_t bytesTransferred = 0;  ///< of bodies, as they came over the network
  double transferSeconds = 0;          ///< during which at least one body was under way
  std::uint64_t stallCount = 0;  ///< transfers that went silent and were taken up again or given up
  std::uint64_t retryCount = 0;
  std::optional<double> observedBitrate;  ///< bits a second, recent transfers weighing more
  std::optional<double> observedBitrateDeviation;  ///< standard deviation of the same
  std::string serverAddress;                       ///< of the newest connection
};

/// A part of it, during which one server sent one variant.
struct RelayLeg {
  double age = 0;                          ///< seconds since it began
  std::string variant;                     ///< as StreamOffers calls it; empty where there is none
  std::optional<double> indicatedBitrate;  ///< of the variant, bits a second
  bool isSwitch = false;                   ///< it began with another variant
  double mediaSeconds = 0;                 ///< of the segments that it asked for
  RelayStatistics statistics;              ///< of itself alone
};

/// A body that reached, or is reaching, the engine.
struct RelayedRange {
  std::string url;
  std::uint64_t begin = 0;                  ///< bytes
  std::uint64_t end = 0;                    ///< bytes, exclusive: how far it has come
  std::optional<std::uint64_t> totalBytes;  ///< of the resource
  bool complete = false;                    ///< it has come to its end
};

/// One media item's way through the relay. Destroying it closes the way: its URL answers nothing
/// but that there is nothing, its transfers are broken off, and its questions are nobody's any
/// more.
///
/// Threads: any.
class RelayItem {
 public:
  virtual ~RelayItem() = default;

  /// Closes the way ahead of that. What is known of it stays.
  virtual void close() = 0;

  /// What the engine plays in place of the item's URL: http on the loopback address.
  virtual std::string url() const = 0;
  /// The same for another URL of this item, such as a subtitle's that the playlist does not name.
  virtual std::string urlFor(const std::string& url) const = 0;
  /// With whom to blame, the first exchange that failed for good since media last came through:
  /// what the engine can do without is no reason for it to fail.
  virtual std::optional<platform::Error> failure() const = 0;
  /// `handler` is called once, on any thread, when there is no point in trying on: the item's own
  /// URL has failed before anything was played, or nothing but failures has come for a while.
  virtual void whenHopeless(std::function<void()> handler) = 0;
  /// An exchange is under way which the relay itself will bring to an end.
  virtual bool isBusy() const = 0;
  virtual RelayStatistics statistics() const = 0;
  /// Newest last, at most a few hundred.
  virtual std::vector<RelayedRange> ranges() const = 0;
  /// Since the item was opened, the oldest first, and the last one goes on; at most `kMostLegs`, of
  /// which the oldest make room.
  virtual std::vector<RelayLeg> legs() const = 0;
  static constexpr std::size_t kMostLegs = 64;
  /// `handler` is called on the relay's thread whenever one leg has followed another.
  virtual void whenLegBegins(std::function<void()> handler) = 0;
  /// What the newest media playlist of the picture, or else of the sound, says of times and dates.
  /// Null for what is no playlist.
  virtual std::shared_ptr<const MediaTimeline> timeline() const = 0;
  /// The same of all variants that were played, the newest of each.
  virtual std::vector<std::shared_ptr<const MediaTimeline>> timelines() const = 0;
  /// What the newest master playlist or manifest offers. Null where there is none.
  virtual std::shared_ptr<const StreamOffers> offers() const = 0;
  /// Asks for a content key in the name of the item, as if a playlist had named it. `reply` is
  /// called once, on any thread, unless the item goes first.
  virtual void askForKey(const std::string& url, std::function<void(RelayAnswer)> reply) = 0;
};

}  // namespace box
