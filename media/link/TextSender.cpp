#include "media/link/TextSender.h"

#include <memory>

#include "media/link/EngineMessages.h"

namespace media {
namespace {

TextChange withoutImages(TextChange change) {
  for (auto& each : change.cues) {
    if (each->images.empty()) continue;
    SubtitleCue cue = *each;
    cue.images.clear();
    each = std::make_shared<const SubtitleCue>(std::move(cue));
  }
  return change;
}

}  // namespace

void sendTexts(LinkThread& link, const TextChange& change) {
  for (const TextChange& part : splitChange(change)) {
    const bool isFull = link.queuedBytes() > kQueueLimitForImages;
    link.send(encode(TextEvent{isFull ? withoutImages(part) : part}));
  }
}

}  // namespace media
