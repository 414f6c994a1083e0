#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace box {

/// A buffer of a writer, mapped for reading. Its contents can change at any time, its size cannot.
///
/// Thread-safe.
class MappedBuffer {
 public:
  /// Maps memory that is sealed against shrinking and growing: reading beyond the end of a shrunken
  /// file would raise SIGBUS. Otherwise returns null and sets `reason`. The descriptor is not
  /// owned.
  static std::shared_ptr<MappedBuffer> map(int descriptor, std::string& reason);
  ~MappedBuffer();
  MappedBuffer(const MappedBuffer&) = delete;
  MappedBuffer& operator=(const MappedBuffer&) = delete;

  const std::uint8_t* data() const { return _data; }
  std::size_t size() const { return _size; }

  /// Marks the buffer as in use. Returns false if it is in use already.
  bool acquire() { return !_inUse.exchange(true); }
  void release() { _inUse = false; }

 private:
  MappedBuffer(const std::uint8_t* data, std::size_t size) : _data(data), _size(size) {}

  const std::uint8_t* const _data;
  const std::size_t _size;
  std::atomic<bool> _inUse = false;
};

}  // namespace box
