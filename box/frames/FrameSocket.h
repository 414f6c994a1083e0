#pragma once

#include <memory>
#include <optional>
#include <string>

#include "media/output/FrameLayer.h"
#include "platform/foundation/Error.h"

namespace box {

/// The layer of a mirrored screen: a Unix SEQPACKET socket on which one other process at a time
/// hands over pictures in shared memory. docs/frames.md has the messages, frames/vorlane-frames.h
/// the other side.
///
/// Workflow: open() listens at once; path() goes to the writer. A writer has the user id of this
/// process, or is root; a second one is refused until the first has gone. When a writer goes, its
/// picture goes with it. close() cuts the writer off and removes the socket file, and leaves the
/// last picture to be shown until the layer dies.
///
/// Threads: reading has a thread of its own, which sleeps without a limit while nothing comes.
/// close() does not wait for it, the destructor does, for one message at most; any thread may
/// destroy the layer.
class FrameSocket final : public media::FrameLayer {
 public:
  std::string className() const override { return "FrameSocket"; }

  /// Listens in `folder`, under a name that is new in this process. The folder is made with mode
  /// 0700 when it is missing, and must be this user's alone. Null, and the error, when that is
  /// impossible.
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
