#pragma once

#include <utility>

#include <unistd.h>

namespace box {

/// Owns a file descriptor; -1: none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : _descriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : _descriptor(other.release()) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    if (this != &other) {
      reset();
      _descriptor = other.release();
    }
    return *this;
  }
  ~FileDescriptor() { reset(); }

  int get() const { return _descriptor; }
  explicit operator bool() const { return _descriptor >= 0; }
  int release() { return std::exchange(_descriptor, -1); }
  void reset() {
    if (_descriptor >= 0) ::close(std::exchange(_descriptor, -1));
  }

 private:
  int _descriptor = -1;
};

}  // namespace box
