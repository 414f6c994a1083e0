#include "media/pipeline/playback/LoadContext.h"

#include <utility>

namespace media {
namespace {

std::shared_ptr<SenderContentKeys> contentKeysOf(std::shared_ptr<streaming::StreamedItem> item) {
  if (!item) return nullptr;
  return std::make_shared<SenderContentKeys>(
      [item = std::move(item)](const std::string& url, auto reply) {
        item->requestKey(url, std::move(reply));
      });
}

}  // namespace

LoadContext::LoadContext(const platform::Clock& loadClock, PipelineSetup loadSetup)
    : clock(loadClock),
      setup(std::move(loadSetup)),
      contentKeys(contentKeysOf(setup.item)),
      position(clock, setup.positionChanged),
      statistics(clock) {}

}  // namespace media
