#include "frames/vorlane-frames.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "frames/FrameWriter.h"

struct vorlane_frames_writer : frames::FrameWriter {
  using FrameWriter::FrameWriter;
};

namespace {

/// Exceptions must not cross the C interface. The only possible one is std::bad_alloc.
template <typename Function>
int guarded(Function function) noexcept {
  try {
    return function();
  } catch (...) {
    return VORLANE_FRAMES_NO_MEMORY;
  }
}

int resultOfConnect(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ECONNREFUSED:
    case ENOTSOCK:
    case EPROTOTYPE:
      return VORLANE_FRAMES_NO_LAYER;
    case EACCES:
    case EPERM:
      return VORLANE_FRAMES_FORBIDDEN;
    case EAGAIN:
      return VORLANE_FRAMES_BUSY;
    default:
      return VORLANE_FRAMES_NO_MEMORY;
  }
}

}  // namespace

int vorlane_frames_connect(const char* path, int timeout_ms, vorlane_frames_writer** writer) {
  if (!path || !writer) return VORLANE_FRAMES_INVALID;
  *writer = nullptr;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::size_t length = std::strlen(path);
  if (length == 0 || length >= sizeof address.sun_path) return VORLANE_FRAMES_INVALID;
  std::memcpy(address.sun_path, path, length + 1);
  const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) return VORLANE_FRAMES_NO_MEMORY;
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  if (connect(descriptor, generic, sizeof address) != 0) {
    const int error = errno;
    ::close(descriptor);
    return resultOfConnect(error);
  }
  return vorlane_frames_adopt(descriptor, timeout_ms, writer);
}

int vorlane_frames_adopt(int descriptor, int timeout_ms, vorlane_frames_writer** writer) {
  if (!writer) {
    ::close(descriptor);
    return VORLANE_FRAMES_INVALID;
  }
  *writer = nullptr;
  std::unique_ptr<vorlane_frames_writer> made(new (std::nothrow) vorlane_frames_writer(descriptor));
  if (!made) {
    ::close(descriptor);
    return VORLANE_FRAMES_NO_MEMORY;
  }
  const int result = guarded([&] { return made->greet(timeout_ms); });
  if (result == VORLANE_FRAMES_OK) *writer = made.release();
  return result;
}

void vorlane_frames_close(vorlane_frames_writer* writer) { delete writer; }

int vorlane_frames_configure(vorlane_frames_writer* writer, uint32_t format, uint32_t width,
                             uint32_t height, uint32_t count) {
  if (!writer) return VORLANE_FRAMES_INVALID;
  return guarded([&] { return writer->configure(format, width, height, count); });
}

int vorlane_frames_acquire(vorlane_frames_writer* writer, int timeout_ms,
                           vorlane_frames_buffer* buffer) {
  if (!writer || !buffer) return VORLANE_FRAMES_INVALID;
  return guarded([&] { return writer->acquire(timeout_ms, buffer); });
}

int vorlane_frames_send(vorlane_frames_writer* writer, const vorlane_frames_buffer* buffer,
                        const vorlane_frames_picture* picture) {
  if (!writer || !buffer) return VORLANE_FRAMES_INVALID;
  const vorlane_frames_picture plain{-1, 0, {}};
  return guarded([&] { return writer->send(*buffer, picture ? *picture : plain); });
}

int vorlane_frames_process(vorlane_frames_writer* writer) {
  if (!writer) return VORLANE_FRAMES_INVALID;
  return guarded([&] { return writer->process(); });
}

void vorlane_frames_on_release(vorlane_frames_writer* writer,
                               void (*handler)(const vorlane_frames_release*, void*),
                               void* context) {
  if (writer) writer->setReleaseHandler(handler, context);
}

int vorlane_frames_descriptor(const vorlane_frames_writer* writer) {
  return writer ? writer->descriptor() : -1;
}

vorlane_frames_statistics vorlane_frames_count(const vorlane_frames_writer* writer) {
  return writer ? writer->statistics() : vorlane_frames_statistics{};
}

const char* vorlane_frames_text(int result) {
  switch (result) {
    case VORLANE_FRAMES_OK:
      return "success";
    case VORLANE_FRAMES_TIMED_OUT:
      return "timed out";
    case VORLANE_FRAMES_NO_LAYER:
      return "there is no layer at this path";
    case VORLANE_FRAMES_BUSY:
      return "another writer is connected to the layer";
    case VORLANE_FRAMES_FORBIDDEN:
      return "the layer belongs to another user";
    case VORLANE_FRAMES_DISCONNECTED:
      return "the layer was closed";
    case VORLANE_FRAMES_INVALID:
      return "invalid argument";
    case VORLANE_FRAMES_NO_MEMORY:
      return "out of memory or descriptors";
    case VORLANE_FRAMES_PROTOCOL:
      return "the reader uses another protocol";
    default:
      return "an unknown result";
  }
}
