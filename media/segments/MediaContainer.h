#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "media/segments/ContainerFormat.h"
#include "media/segments/PieceInput.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

namespace media {

struct PacketRelease {
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using PacketRef = std::unique_ptr<AVPacket, PacketRelease>;

/// A demuxer of libavformat that reads from a PieceInput. It opens no other resource.
///
/// Threads: one at a time.
class MediaContainer {
 public:
  /// Blocks until the demuxer has found its streams. Returns null if it cannot read the bytes or
  /// the gate is closed. `input` has to outlive the container.
  static std::unique_ptr<MediaContainer> open(PieceInput& input, ContainerFormat format);
  ~MediaContainer();
  MediaContainer(const MediaContainer&) = delete;
  MediaContainer& operator=(const MediaContainer&) = delete;

  /// Returns the next packet, which is valid until the next call. Null: the end was reached, the
  /// data is damaged, or the gate is closed.
  AVPacket* read();
  /// Seeks to the key frame before `seconds`, a time of the container. Returns false if that fails.
  bool seek(double seconds);
  ContainerFormat format() const { return _form; }
  /// read() may add streams.
  std::span<AVStream*> streams() const { return {_context->streams, _context->nb_streams}; }

 private:
  explicit MediaContainer(ContainerFormat format) : _form(format) {}

  const ContainerFormat _form;
  AVFormatContext* _context = nullptr;
  PacketRef _packet;
};

/// Returns the side data of this type that applies to the whole stream, or an empty span.
std::span<const std::uint8_t> sideDataOf(const AVStream& stream, AVPacketSideDataType type);

}  // namespace media
