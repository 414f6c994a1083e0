#pragma once

#include <memory>
#include <optional>
#include <string>

#include "media/output/FrameLayer.h"
#include "platform/foundation/Error.h"

namespace box {

/// The layer of a mirrored screen: a Unix SEQPACKET socket on which one process at a time sends
/// frames in shared memory. The protocol is in docs/frames.md, the writer in
/// frames/vorlane-frames.h.
///
/// Workflow: open() listens immediately; path() is passed to the writer. The writer must have the
/// user id of this process or be root. A second writer is rejected while the first one is
/// connected. When the writer disconnects, its picture is removed. close() disconnects the writer
/// and removes the socket file; the last picture stays until the layer is destroyed.
///
/// Threads: a thread of its own reads and sleeps without a timeout. close() does not wait for it.
/// The destructor waits for one message at most, and may be called on any thread.
class FrameSocket final : public media::FrameLayer {
 public:
  std::string className() const override { return "FrameSocket"; }

  /// Listens in `folder` under a name that is unique in this process. Creates the folder with mode
  /// 0700 if it does not exist; otherwise it must belong to this user only. Returns null and sets
  /// `error` on failure.
  static std::shared_ptr<FrameSocket> open(const std::string& folder,
                                           std::optional<platform::Error>* error);
  ~FrameSocket() override;

  std::string path() const override;
  void close() override;
  const std::shared_ptr<media::VideoFrames>& frames() const override;

 private:
  class Reader;
  explicit FrameSocket(std::unique_ptr<Reader> reader);
  const std::unique_ptr<Reader> _reader;
};

}  // namespace box
