#pragma once

#include <memory>

#include <gst/gst.h>
#include <gst/video/video.h>

#include "frames/SharedBuffer.h"
#include "media/support/GstRef.h"

namespace media {

/// An allocator for decoded pictures in shared memory. Pictures in it need not be copied on their
/// way to the screen.
///
/// Each block is a SharedBuffer. If none can be made, the memory comes from GStreamer's allocator.
///
/// The allocator is offered to decoders in ALLOCATION queries. It is never freed.
/// Threads: any.
GstAllocator* pictureAllocator();

/// While an instance exists, some free blocks are kept for the next pictures: each page of a new
/// block costs a page fault. The last instance releases them.
///
/// The first instance also replaces GStreamer's default allocator: memory for pictures then comes
/// from pictureAllocator(). gst-libav fills its pool before it sends an ALLOCATION query, and
/// GStreamer copies pictures that a decoder still refers to.
///
/// Threads: any.
class PictureMemoryUse {
 public:
  PictureMemoryUse();
  ~PictureMemoryUse();
  PictureMemoryUse(const PictureMemoryUse&) = delete;
  PictureMemoryUse& operator=(const PictureMemoryUse&) = delete;
};

/// Returns the block of a buffer that pictureAllocator() has allocated, or null if any of its
/// memory comes from elsewhere.
std::shared_ptr<const frames::SharedBuffer> sharedMemoryOf(GstBuffer* buffer);

/// Returns an active buffer pool for pictures of `caps` in memory of pictureAllocator(), or null.
GstRef<GstBufferPool> makePicturePool(GstCaps* caps, const GstVideoInfo& info);

}  // namespace media
