#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "platform/foundation/queues/Queue.h"
#include "platform/media/PendingRequests.h"
#include "platform/media/TVSMediaItem.h"
#include "streaming/transfer/ItemSetup.h"

namespace media {

/// Carries questions for resources and keys to the media item they are about, and its answers back.
///
/// A resource may be requested again while the sender still works on its answer, after a seek, and
/// after a refusal. The sender is asked once: a question that is pending is joined, and a refusal
/// is remembered.
///
/// Threads: asker()'s result may be called from any; the rest is main's. The answer to a question
/// comes on the main thread. Once this is gone nothing is answered any more, and the item's
/// requests are cancelled.
class ItemQuestions : public std::enable_shared_from_this<ItemQuestions> {
 public:
  static std::shared_ptr<ItemQuestions> make(platform::MainQueue& queue,
                                             std::shared_ptr<TVSMediaItem> item);

  using Reply = std::function<void(streaming::ContentAnswer)>;
  /// For streaming::ItemSetup::ask. Holds this weakly.
  std::function<void(streaming::ContentQuestion, Reply)> asker();

 private:
  struct Waiting {
    streaming::ContentQuestion question;
    std::vector<Reply> replies;
  };

  ItemQuestions(platform::MainQueue& queue, std::shared_ptr<TVSMediaItem> item);
  void _ask(const streaming::ContentQuestion& question, const Reply& reply);
  void _answer(const streaming::ContentQuestion& question, const streaming::ContentAnswer& answer);

  platform::MainQueue& _queue;
  const std::shared_ptr<TVSMediaItem> _item;
  std::vector<Waiting> _waiting;
  std::deque<std::pair<streaming::ContentQuestion, streaming::ContentAnswer>>
      _refused;  // the newest
  platform::PendingRequests _requests;
};

}  // namespace media
