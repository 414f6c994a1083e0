#include "media/segments/TrackDemuxer.h"

#include "media/segments/SegmentDemuxer.h"

namespace media {

std::unique_ptr<TrackDemuxer> TrackDemuxer::make(Setup setup) {
  return std::make_unique<SegmentDemuxer>(std::move(setup));
}

}  // namespace media
