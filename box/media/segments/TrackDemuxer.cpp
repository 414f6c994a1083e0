#include "box/media/segments/TrackDemuxer.h"

#include "box/media/segments/SegmentDemuxer.h"

namespace box {

std::unique_ptr<TrackDemuxer> TrackDemuxer::make(Setup setup) {
  return std::make_unique<SegmentDemuxer>(std::move(setup));
}

}  // namespace box
