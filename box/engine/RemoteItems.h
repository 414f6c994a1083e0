#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "media/link/EngineMessages.h"
#include "platform/foundation/queues/Queue.h"
#include "platform/media/PendingRequests.h"
#include "platform/media/TVSMediaItem.h"

namespace box {

/// The media items that a media process knows by numbers: describes them to it, and asks them what
/// it asks.
///
/// Threads: main. After clear() nothing is answered.
class RemoteItems {
 public:
  using Answer = std::function<void(const media::ItemResponseCommand&)>;

  RemoteItems(platform::MainQueue& queue, Answer answer);

  /// The same number for the same item, as long as it lives.
  std::uint64_t identify(const std::shared_ptr<TVSMediaItem>& item);
  static media::ItemDescription describe(const TVSMediaItem& item);

  /// A question about an item that is gone gets an error.
  void ask(const media::ItemRequestEvent& question);
  void withdraw(const media::CancelRequestEvent& withdrawn);
  /// The process has gone: its questions need no answers.
  void clear() { _questions.clear(); }

 private:
  platform::MainQueue& _queue;
  const Answer _answer;
  std::map<std::uint64_t, std::weak_ptr<TVSMediaItem>> _items;
  std::uint64_t _lastID = 0;
  /// One object for each question, since they are cancelled one by one.
  std::map<std::uint64_t, std::shared_ptr<platform::PendingRequests>> _questions;
};

}  // namespace box
