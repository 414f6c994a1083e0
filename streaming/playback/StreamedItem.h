#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Date.h"
#include "platform/foundation/Error.h"
#include "streaming/playback/PresentationPlayback.h"
#include "streaming/playback/ResourceReader.h"
#include "streaming/transfer/ItemSetup.h"
#include "streaming/transfer/TransferLimits.h"
#include "streaming/transfer/TransferStatistics.h"

namespace streaming {

/// A time span with the same server and the same representation of the leading track.
struct AccessLogEntry {
  double age = 0;                          ///< seconds since its start
  std::string representation;              ///< empty: a plain resource
  std::optional<double> indicatedBitrate;  ///< bits per second
  bool isSwitch = false;                   ///< starts with a change of the representation
  double mediaSeconds = 0;                 ///< duration of the requested segments
  TransferStatistics statistics;           ///< of this time span only
};

struct ErrorLogEntry {
  platform::Date date;
  std::string url;
  platform::Error error;
};

/// An item of the player. close() and the destructor cancel its transfers and key requests. Any
/// thread.
class StreamedItem {
 public:
  enum class Kind {
    Plain,         ///< use resource()
    Presentation,  ///< use presentation()
  };

  virtual ~StreamedItem() = default;
  virtual void close() = 0;

  /// `opened` is called once, on the transfer thread, when the content type is known or opening has
  /// failed. Not called after close().
  virtual void whenOpened(
      std::function<void(const std::optional<platform::Error>& error)> opened) = 0;
  // Valid after whenOpened() has reported success:
  virtual Kind kind() const = 0;
  virtual std::shared_ptr<ResourceReader> resource() const = 0;
  virtual std::shared_ptr<PresentationPlayback> presentation() const = 0;

  /// The first error since media data was last received.
  virtual std::optional<platform::Error> failure() const = 0;
  /// A request is running.
  virtual bool isBusy() const = 0;
  virtual TransferStatistics statistics() const = 0;
  static constexpr std::size_t kMaxAccessLogEntries = 64;
  /// Sorted by time; the last one is the current one.
  virtual std::vector<AccessLogEntry> accessLog() const = 0;
  /// `handler` is called on the transfer thread when a new entry starts.
  virtual void whenAccessLogEntryStarts(std::function<void()> handler) = 0;
  virtual std::vector<ErrorLogEntry> errorLog() const = 0;

  /// Requests a content key. `reply` is called once, on any thread, unless the item is closed
  /// first.
  virtual void requestKey(const std::string& url,
                          std::function<void(ContentResponse response)> reply) = 0;
  /// Loads a text file, such as a subtitle that the sender specifies. `done` is called once, on the
  /// transfer thread, with an empty string after a failure. Destroying the handle cancels the
  /// request.
  virtual std::shared_ptr<void> loadText(const std::string& url,
                                         std::function<void(std::string bytes)> done) = 0;
};

struct StreamingOptions {
  std::string cacheFolder;  ///< folder of the disk cache; empty: none
  TransferLimits limits = {};
};

/// Opens items, which share a thread, connections and the disk cache. Any thread. Destroying it
/// closes all items; their objects may outlive it.
class Streaming {
 public:
  static std::shared_ptr<Streaming> make(StreamingOptions options = {});
  virtual ~Streaming() = default;
  virtual std::shared_ptr<StreamedItem> open(ItemSetup setup, CanDecode canDecode) = 0;
  /// Starts the transfer thread and initializes libraries, asynchronously.
  virtual void warmUp() = 0;
};

}  // namespace streaming
