#include "media/pipeline/CoverArt.h"

#include <algorithm>
#include <utility>

#include <gst/tag/tag.h>

#include "media/pipeline/CoverImage.h"
#include "media/pipeline/MappedFrame.h"

namespace media {
namespace {

/// A file may have an image for each of its pages.
constexpr guint kMaxImages = 32;
/// Tags may be repeated, and each decoding takes time.
constexpr int kMaxFailures = 3;

bool isFrontCover(GstSample* sample) {
  const GstStructure* const info = gst_sample_get_info(sample);
  gint type = GST_TAG_IMAGE_TYPE_NONE;
  return info && gst_structure_get_enum(info, "image-type", GST_TYPE_TAG_IMAGE_TYPE, &type) &&
         type == GST_TAG_IMAGE_TYPE_FRONT_COVER;
}

}  // namespace

void CoverArt::noteTags(const GstTagList* tags) {
  if (_failures >= kMaxFailures) return;
  const guint count = std::min(gst_tag_list_get_tag_size(tags, GST_TAG_IMAGE), kMaxImages);
  for (guint index = 0; index < count && !_isFront; ++index) {
    GstSample* found = nullptr;
    if (!gst_tag_list_get_sample_index(tags, GST_TAG_IMAGE, index, &found)) continue;
    GstRef<GstSample> sample(found);
    _isFront = isFrontCover(found);
    if (_isFront || (!_image && !_load.facts.newest().hasCover)) _image = std::move(sample);
  }
}

bool CoverArt::show() {
  platform::MediaFacts& facts = _load.facts.newest();
  const bool hasVideo = std::ranges::any_of(
      facts.tracks, [](const platform::MediaTrack& track) { return track.mediaType == "video"; });
  if (!_image || hasVideo) return false;
  const GstRef<GstSample> image = std::exchange(_image, {});
  GstBuffer* const buffer = gst_sample_get_buffer(image.get());
  GstMapInfo map;
  if (!buffer || !gst_buffer_map(buffer, &map, GST_MAP_READ)) return false;
  const GstRef<GstSample> decoded = decodeCover({map.data, map.size});
  gst_buffer_unmap(buffer, &map);
  auto frame = decoded ? MappedFrame::make(decoded.get(), 0, nullptr) : nullptr;
  if (!frame) {
    ++_failures;
    _isFront = false;
    return false;
  }
  _load.setup.frames->put(_load.setup.ticket, std::move(frame));
  if (std::exchange(facts.hasCover, true)) return false;
  _load.facts.publish();
  return true;
}

}  // namespace media
