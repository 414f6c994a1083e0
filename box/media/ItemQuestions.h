#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "box/relay/RelayItem.h"
#include "platform/foundation/Queue.h"
#include "platform/media/PendingRequests.h"
#include "platform/media/TVSMediaItem.h"

namespace box {

/// Carries the relay's questions to the media item they are about, and its answers back.
///
/// Engines lose patience sooner than the item's sender may take to answer, and ask once more; after
/// a seek they ask anew, too; and what was refused they try again. The sender hears of it once:
/// what has been asked already waits for the same answer, and a refusal holds.
///
/// Threads: asker()'s result may be called from any; the rest is main's. The answer to a question
/// comes on the main thread. Once this is gone nothing is answered any more, and the item's
/// requests are cancelled.
class ItemQuestions : public std::enable_shared_from_this<ItemQuestions> {
 public:
  static std::shared_ptr<ItemQuestions> make(platform::MainQueue& queue,
                                             std::shared_ptr<TVSMediaItem> item);

  using Reply = std::function<void(RelayAnswer)>;
  /// For RelayItemSetup::ask. Holds this weakly.
  std::function<void(RelayQuestion, Reply)> asker();

 private:
  struct Waiting {
    RelayQuestion question;
    std::vector<Reply> replies;
  };

  ItemQuestions(platform::MainQueue& queue, std::shared_ptr<TVSMediaItem> item);
  void _ask(const RelayQuestion& question, const Reply& reply);
  void _answer(const RelayQuestion& question, const RelayAnswer& answer);

  platform::MainQueue& _queue;
  const std::shared_ptr<TVSMediaItem> _item;
  std::vector<Waiting> _waiting;
  std::deque<std::pair<RelayQuestion, RelayAnswer>> _refused;  // the newest
  platform::PendingRequests _requests;
};

}  // namespace box
