#pragma once

#include <gst/gst.h>

#include "media/pipeline/playback/LoadContext.h"
#include "media/support/GstRef.h"

namespace media {

/// Shows the cover in the tags of an item that has no video.
///
/// Threads: the pipeline's.
class CoverArt {
 public:
  explicit CoverArt(LoadContext& load) : _load(load) {}

  /// Keeps the image in the tags; a front cover rather than another one.
  void noteTags(const GstTagList* tags);
  /// Decodes the kept image and shows it if the item has no video, and updates the facts. Call it
  /// when the tracks are known. Returns whether the facts have changed.
  bool show();

 private:
  LoadContext& _load;
  GstRef<GstSample> _image;  // not decoded yet
  bool _isFront = false;
  int _failures = 0;  // images that cannot be decoded
};

}  // namespace media
