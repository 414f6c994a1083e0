#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include <gst/gst.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace media {

/// A decoder of libavcodec for packets with the caps of LibavCaps.h, or of H.264 with GStreamer's.
///
/// Threads: one at a time.
class LibavCodec {
 public:
  /// Returns null if there is no such decoder or it does not accept the caps.
  static std::unique_ptr<LibavCodec> open(const GstCaps& caps);

  /// `time` is any number; the frame of this packet has it in `pts`. Returns false if the packet is
  /// damaged. Call receive() until it returns null before the next packet.
  bool send(std::span<const std::uint8_t> bytes, std::int64_t time);
  /// Ends the stream. receive() returns the remaining frames, then call flush().
  void drain();
  /// Returns the next decoded frame, which is valid until the next call, or null.
  const AVFrame* receive();
  void flush();
  /// Sets whether pictures are left out that no other picture needs.
  void setSkipping(bool isSkipping);

 private:
  struct ContextRelease {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  };
  struct FrameRelease {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  };
  struct PacketRelease {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  };
  std::unique_ptr<AVCodecContext, ContextRelease> _context;
  std::unique_ptr<AVFrame, FrameRelease> _frame;
  std::unique_ptr<AVPacket, PacketRelease> _packet;
};

}  // namespace media
