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
#include "streaming/transfer/TransferBounds.h"
#include "streaming/transfer/TransferStatistics.h"

namespace streaming {

/// A time during which one server sent one representation of the picture, or else of the sound.
struct TransferLeg {
  double age = 0;                          ///< seconds since it began
  std::string representation;              ///< empty: a plain resource
  std::optional<double> indicatedBitrate;  ///< bits a second
  bool isSwitch = false;                   ///< it began with another representation
  double mediaSeconds = 0;                 ///< of the segments that were requested
  TransferStatistics statistics;           ///< of itself alone
};

/// An entry of the error log: something could not be had.
struct TransferFault {
  platform::Date date;
  std::string url;
  platform::Error error;
};

/// One item of the player, from its URL on. Destroying it, and close(), end every transfer of it,
/// and its questions are no longer answered. Any thread.
class StreamedItem {
 public:
  enum class Form {
    Plain,         ///< resource() reads it
    Presentation,  ///< presentation() plays it
  };

  virtual ~StreamedItem() = default;
  virtual void close() = 0;

  /// `opened` is called once, on the transfer thread, when it is known what the URL names, or with
  /// the error. It is not called after close().
  virtual void whenOpened(
      std::function<void(const std::optional<platform::Error>& error)> opened) = 0;
  // After whenOpened() has told of no error:
  virtual Form form() const = 0;
  virtual std::shared_ptr<ResourceReader> resource() const = 0;
  virtual std::shared_ptr<PresentationPlayback> presentation() const = 0;

  /// The first failure since media last came, with whom to blame.
  virtual std::optional<platform::Error> failure() const = 0;
  /// A request is under way, which ends by itself.
  virtual bool isBusy() const = 0;
  virtual TransferStatistics statistics() const = 0;
  static constexpr std::size_t kMostLegs = 64;
  /// The oldest first; the last one goes on.
  virtual std::vector<TransferLeg> legs() const = 0;
  /// `handler` is called on the transfer thread whenever one leg has followed another.
  virtual void whenLegBegins(std::function<void()> handler) = 0;
  /// The newest hundred.
  virtual std::vector<TransferFault> faults() const = 0;

  /// Asks for a content key in the name of the item. `reply` is called once, on any thread, unless
  /// the item is closed first.
  virtual void askForKey(const std::string& url,
                         std::function<void(ContentAnswer answer)> reply) = 0;
  /// Loads a text beside the media, such as a subtitle that the sender names. `done` is called
  /// once, on the transfer thread, with nothing when it cannot be had. Destroying the handle
  /// cancels it.
  virtual std::shared_ptr<void> loadText(const std::string& url,
                                         std::function<void(std::string bytes)> done) = 0;
};

struct StreamingOptions {
  std::string cacheFolder;  ///< for items that may use a disk cache; empty: none
  TransferBounds bounds = {};
};

/// Opens items; they share a thread, connections and the disk cache. Any thread. Items may outlive
/// it, and are closed then.
class Streaming {
 public:
  static std::shared_ptr<Streaming> make(StreamingOptions options = {});
  virtual ~Streaming() = default;
  /// Starts at once to fetch what the URL names.
  virtual std::shared_ptr<StreamedItem> open(ItemSetup setup, CanDecode canDecode) = 0;
  /// Starts the thread and what it needs, off the calling thread.
  virtual void warmUp() = 0;
};

}  // namespace streaming
