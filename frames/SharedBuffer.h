#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace frames {

/// Shared memory that another process can map. Its size is sealed.
///
/// Lifetime: the object owns the descriptor and the mapping.
class SharedBuffer {
 public:
  /// Returns null if memory or descriptors are exhausted.
  static std::unique_ptr<SharedBuffer> make(std::size_t bytes);
  ~SharedBuffer();
  SharedBuffer(const SharedBuffer&) = delete;
  SharedBuffer& operator=(const SharedBuffer&) = delete;

  int descriptor() const { return _descriptor; }
  std::uint8_t* data() const { return _data; }
  std::size_t size() const { return _size; }
  /// Expires when the buffer is destroyed.
  std::weak_ptr<const void> lifetime() const { return _lifetime; }

 private:
  SharedBuffer(int descriptor, std::uint8_t* data, std::size_t size)
      : _descriptor(descriptor), _data(data), _size(size) {}

  const int _descriptor;
  std::uint8_t* const _data;
  const std::size_t _size;
  const std::shared_ptr<const void> _lifetime = std::make_shared<const char>();
};

}  // namespace frames
