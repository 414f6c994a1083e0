#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace box {

/// A writer's buffer, mapped for reading. What is in it can change at any time, its size cannot.
///
/// Threads: any.
class MappedBuffer {
 public:
  /// Takes nothing but memory that its maker has sealed against shrinking and growing, since
  /// reading beyond the end of a file that has shrunk would kill the process. Null and a reason
  /// otherwise. The descriptor stays the caller's.
  static std::shared_ptr<MappedBuffer> map(int descriptor, std::string& reason);
  ~MappedBuffer();
  MappedBuffer(const MappedBuffer&) = delete;
  MappedBuffer& operator=(const MappedBuffer&) = delete;

  const std::uint8_t* data() const { return _data; }
  std::size_t size() const { return _size; }

  /// False when a picture is being read from it already.
  bool take() { return !_taken.exchange(true); }
  void giveBack() { _taken = false; }

 private:
  MappedBuffer(const std::uint8_t* data, std::size_t size) : _data(data), _size(size) {}

  const std::uint8_t* const _data;
  const std::size_t _size;
  std::atomic<bool> _taken = false;
};

}  // namespace box
