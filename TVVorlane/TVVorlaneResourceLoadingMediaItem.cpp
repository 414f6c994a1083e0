#include "TVVorlane/TVVorlaneResourceLoadingMediaItem.h"

#include "TVVorlane/TVVorlaneLogComponents.h"
#include "platform/foundation/log/TVSLogger.h"

bool TVVorlaneResourceLoadingMediaItem::_forwardRequest(
    TVSMediaItem& item, const std::shared_ptr<TVSResourceLoadingRequest>& request) const {
  if (!request->requestID()) {
    TVSLogNotice(TVVLMediaItem, "### Vorlane failed URL request ID missing from %@",
                 request->dictionaryRepresentation());
    return false;
  }
  TVSLogNotice(TVVLMediaItem, "Vorlane handle ResourceLoadingRequest %@",
               request->dictionaryRepresentation());
  if (const auto delegate = resourceLoadingDelegate()) delegate->mediaItem(item, request);
  return true;
}
