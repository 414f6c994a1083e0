#include "media/pipeline/PictureMemory.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <mutex>
#include <new>
#include <utility>

namespace media {
namespace {

using Block = std::shared_ptr<const frames::SharedBuffer>;

class FreeBlocks {
 public:
  /// Returns null if there is no memory or no file descriptor left.
  std::shared_ptr<frames::SharedBuffer> take(std::size_t bytes) {
    std::unique_ptr<frames::SharedBuffer> block = _find(bytes);
    if (!block) block = frames::SharedBuffer::make(bytes);
    if (!block) return nullptr;
    return {block.release(), [this](frames::SharedBuffer* gone) {
              _giveBack(std::unique_ptr<frames::SharedBuffer>(gone));
            }};
  }
  void addUser() {
    const std::lock_guard lock(_mutex);
    ++_users;
  }
  void removeUser() {
    std::deque<std::unique_ptr<frames::SharedBuffer>> gone;  // unmapped after the lock
    const std::lock_guard lock(_mutex);
    if (--_users == 0) gone = std::exchange(_blocks, {});
  }

 private:
  static constexpr std::size_t kMost = 8;

  std::unique_ptr<frames::SharedBuffer> _find(std::size_t bytes) {
    const std::lock_guard lock(_mutex);
    const auto found = std::find_if(_blocks.begin(), _blocks.end(),
                                    [&](const auto& each) { return each->size() == bytes; });
    if (found == _blocks.end()) return nullptr;
    auto block = std::move(*found);
    _blocks.erase(found);
    return block;
  }
  void _giveBack(std::unique_ptr<frames::SharedBuffer> block) {
    std::unique_ptr<frames::SharedBuffer> oldest;  // unmapped after the lock
    const std::lock_guard lock(_mutex);
    if (_users == 0) {
      oldest = std::move(block);
      return;
    }
    _blocks.push_back(std::move(block));
    if (_blocks.size() <= kMost) return;
    oldest = std::move(_blocks.front());
    _blocks.pop_front();
  }

  std::mutex _mutex;
  std::deque<std::unique_ptr<frames::SharedBuffer>> _blocks;  // most recently freed last
  std::size_t _users = 0;
};

/// Never destroyed: pictures may be released after static destructors have run.
FreeBlocks& freeBlocks() {
  static auto& blocks = *new FreeBlocks;
  return blocks;
}

constexpr const char* kMemoryType = "VorlanePictureMemory";

struct PictureMemory {
  GstMemory parent;
  Block block;
};

PictureMemory* pictureMemoryIn(GstMemory* memory) {
  return reinterpret_cast<PictureMemory*>(memory);
}

GstAllocator* systemAllocator() {
  static GstAllocator* const allocator = gst_allocator_find(GST_ALLOCATOR_SYSMEM);
  return allocator;
}

/// Creates a view of `block`. `whole` is null for the first view.
GstMemory* makeView(GstAllocator* allocator, GstMemory* whole, Block block, GstMemoryFlags flags,
                    gsize align, gsize offset, gsize size) {
  const gsize room = block->size();
  auto* const view = new (std::nothrow) PictureMemory{{}, std::move(block)};
  if (!view) return nullptr;
  gst_memory_init(&view->parent, flags, allocator, whole, room, align, offset, size);
  return &view->parent;
}

GstMemory* allocateBlock(GstAllocator* allocator, gsize size, GstAllocationParams* params) {
  // Mappings are aligned to pages.
  constexpr gsize kLargestAlignment = 4095;
  const gsize room = params->prefix + size + params->padding;
  auto block = params->align <= kLargestAlignment ? freeBlocks().take(room) : nullptr;
  if (block) {
    if (GstMemory* const memory = makeView(allocator, nullptr, std::move(block), params->flags,
                                           params->align, params->prefix, size))
      return memory;
  }
  return gst_allocator_alloc(systemAllocator(), size, params);
}

/// Recognises memory for pictures by its size and alignment: decoders align rows for vector
/// instructions, and hardly anything else does.
GstMemory* allocateByDefault(GstAllocator*, gsize size, GstAllocationParams* params) {
  constexpr gsize kAlignment = 31;
  constexpr gsize kSmallest = 16384;
  return gst_allocator_alloc(
      params->align >= kAlignment && size >= kSmallest ? pictureAllocator() : systemAllocator(),
      size, params);
}

void freeBlock(GstAllocator*, GstMemory* memory) { delete pictureMemoryIn(memory); }

gpointer mapBlock(GstMemory* memory, gsize, GstMapFlags) {
  return pictureMemoryIn(memory)->block->data();
}

void unmapBlock(GstMemory*) {}

GstMemory* shareBlock(GstMemory* memory, gssize offset, gssize size) {
  const PictureMemory& self = *pictureMemoryIn(memory);
  GstMemory* const whole = memory->parent ? memory->parent : memory;
  const gsize length =
      size < 0 ? memory->size - static_cast<gsize>(offset) : static_cast<gsize>(size);
  const auto flags = static_cast<GstMemoryFlags>(GST_MINI_OBJECT_FLAGS(whole) |
                                                 GST_MINI_OBJECT_FLAG_LOCK_READONLY);
  return makeView(memory->allocator, whole, self.block, flags, memory->align,
                  memory->offset + static_cast<gsize>(offset), length);
}

void createAllocator(GTypeInstance* instance, gpointer) {
  GstAllocator* const allocator = GST_ALLOCATOR_CAST(instance);
  allocator->mem_type = kMemoryType;
  allocator->mem_map = mapBlock;
  allocator->mem_unmap = unmapBlock;
  allocator->mem_share = shareBlock;
  GST_OBJECT_FLAG_SET(allocator, GST_ALLOCATOR_FLAG_CUSTOM_ALLOC);
}

GstAllocator* makeAllocator(const char* name, GClassInitFunc initialiseClass) {
  const GType type = g_type_register_static_simple(
      GST_TYPE_ALLOCATOR, name, sizeof(GstAllocatorClass), initialiseClass, sizeof(GstAllocator),
      createAllocator, static_cast<GTypeFlags>(0));
  auto* const allocator = GST_ALLOCATOR_CAST(g_object_new(type, nullptr));
  gst_object_ref_sink(allocator);
  GST_OBJECT_FLAG_SET(allocator, GST_OBJECT_FLAG_MAY_BE_LEAKED);
  return allocator;
}

}  // namespace

GstAllocator* pictureAllocator() {
  static GstAllocator* const allocator =
      makeAllocator("VorlanePictureAllocator", [](gpointer type, gpointer) {
        GST_ALLOCATOR_CLASS(type)->alloc = allocateBlock;
        GST_ALLOCATOR_CLASS(type)->free = freeBlock;
      });
  return allocator;
}

PictureMemoryUse::PictureMemoryUse() {
  static const bool isDefault = [] {
    systemAllocator();  // the default allocator until now
    gst_allocator_set_default(makeAllocator("VorlaneDefaultAllocator", [](gpointer type, gpointer) {
      GST_ALLOCATOR_CLASS(type)->alloc = allocateByDefault;
    }));
    return true;
  }();
  static_cast<void>(isDefault);
  freeBlocks().addUser();
}

PictureMemoryUse::~PictureMemoryUse() { freeBlocks().removeUser(); }

std::shared_ptr<const frames::SharedBuffer> sharedMemoryOf(GstBuffer* buffer) {
  if (gst_buffer_n_memory(buffer) != 1) return nullptr;
  GstMemory* const memory = gst_buffer_peek_memory(buffer, 0);
  return gst_memory_is_type(memory, kMemoryType) ? pictureMemoryIn(memory)->block : nullptr;
}

GstRef<GstBufferPool> makePicturePool(GstCaps* caps, const GstVideoInfo& info) {
  GstRef<GstBufferPool> pool(gst_video_buffer_pool_new());
  GstStructure* const settings = gst_buffer_pool_get_config(pool.get());
  gst_buffer_pool_config_set_params(settings, caps, static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)),
                                    0, 0);
  gst_buffer_pool_config_set_allocator(settings, pictureAllocator(), nullptr);
  if (!gst_buffer_pool_set_config(pool.get(), settings) ||
      !gst_buffer_pool_set_active(pool.get(), TRUE))
    return nullptr;
  return pool;
}

}  // namespace media
