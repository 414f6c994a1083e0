#pragma once

#include <memory>

#include <gst/gst.h>
#include <gst/video/video.h>

#include "frames/SharedBuffer.h"
#include "media/support/GstRef.h"

namespace media {

/// Memory for decoded pictures that another process can map. A decoder that writes its pictures
/// there spares a copy on their way to the screen.
///
/// Each block is a SharedBuffer of its own. When one cannot be made, the memory comes from
/// GStreamer's own allocator.
///
/// The allocator is offered to decoders in answers to their ALLOCATION queries. It is never freed.
/// Threads: any.
GstAllocator* pictureAllocator();

/// While there is one, some blocks that nobody uses are kept for the next pictures: a fresh block
/// costs a page fault for each of its pages. With the last one they go.
///
/// From the first one on, such memory is also what an element gets that names no allocator, when
/// what it wants looks like a picture. The decoders of gst-libav have a pool that they fill before
/// they ask anybody, and GStreamer copies pictures that a decoder still refers to.
///
/// Threads: any.
class PictureMemoryUse {
 public:
  PictureMemoryUse();
  ~PictureMemoryUse();
  PictureMemoryUse(const PictureMemoryUse&) = delete;
  PictureMemoryUse& operator=(const PictureMemoryUse&) = delete;
};

/// The block of a buffer of that allocator. Null when the buffer has other memory too, or only
/// other memory.
std::shared_ptr<const frames::SharedBuffer> sharedMemoryOf(GstBuffer* buffer);

/// An active pool of buffers for pictures of `caps`, in memory of that allocator. Null when there
/// can be none.
GstRef<GstBufferPool> makePicturePool(GstCaps* caps, const GstVideoInfo& info);

}  // namespace media
