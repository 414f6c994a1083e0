#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "media/segments/MediaForm.h"
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

/// A demuxer of libavformat over the bytes of a PieceInput. It opens no other resource.
///
/// Threads: one.
class MediaContainer {
 public:
  /// Waits for what the demuxer needs to know its streams. Null: it cannot read the bytes, or the
  /// gate is closed. `input` outlives it.
  static std::unique_ptr<MediaContainer> open(PieceInput& input, MediaForm form);
  ~MediaContainer();
  MediaContainer(const MediaContainer&) = delete;
  MediaContainer& operator=(const MediaContainer&) = delete;

  /// The next packet; null at the end, after damage, and when the gate is closed. It is good until
  /// the next call.
  AVPacket* read();
  /// Goes on with the key frame before a time of the container. False: it cannot.
  bool seek(double seconds);
  MediaForm form() const { return _form; }
  /// Streams may be added by read().
  std::span<AVStream*> streams() const { return {_context->streams, _context->nb_streams}; }

 private:
  explicit MediaContainer(MediaForm form) : _form(form) {}

  const MediaForm _form;
  AVFormatContext* _context = nullptr;
  PacketRef _packet;
};

/// The side data of that type which hold for a whole stream; empty when there are none.
std::span<const std::uint8_t> sideDataOf(const AVStream& stream, AVPacketSideDataType type);

}  // namespace media
