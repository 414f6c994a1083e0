#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "media/segments/MediaContainer.h"
#include "media/segments/MovieCheck.h"

namespace media {

/// A resource that a demuxer of libavformat reads. libavformat detects the format. Only containers
/// and streams of audio and video are detected: neither images, texts nor playlists. No other
/// resource is opened.
///
/// Times are in nanoseconds from the start of the resource.
///
/// Threads: one at a time.
class LibavInput {
 public:
  struct Source {
    /// Reads at an offset. Returns the number of bytes, 0 at the end, and nullopt after an error or
    /// while flushing.
    std::function<std::optional<std::size_t>(std::uint64_t offset, std::span<std::uint8_t> into)>
        read;
    std::uint64_t size = 0;
  };
  /// Times of a packet, and nullopt if it has none.
  struct Times {
    std::optional<std::uint64_t> presentation;
    std::optional<std::uint64_t> decoding;
    std::optional<std::uint64_t> duration;
  };
  enum class Result { Packet, End, Stopped };

  /// Blocks until the streams are known. Returns null if the format is not detected or the source
  /// fails.
  static std::unique_ptr<LibavInput> open(Source source);
  ~LibavInput();
  LibavInput(const LibavInput&) = delete;
  LibavInput& operator=(const LibavInput&) = delete;

  std::span<AVStream*> streams() const { return {_context->streams, _context->nb_streams}; }
  /// Returns the duration, or nullopt if it is not known.
  std::optional<std::uint64_t> duration() const;
  /// Returns an entry of the metadata of the container, or of a stream. Empty if there is none.
  std::string metadata(const char* key, const AVStream* stream = nullptr) const;

  /// Reads the next packet of a stream that is not discarded. Stopped: the source has returned
  /// nullopt.
  ///
  /// libavformat may buffer what it reads, for example while it searches the end of a frame. After
  /// 80 MiB without a packet, reading fails, and libavformat outputs what it has buffered.
  Result read();
  /// Valid until the next call of read().
  const AVPacket& packet() const { return *_packet; }
  Times times() const;
  /// Seeks to the key frame at or before `time`. Without an index, it is searched.
  void seek(std::uint64_t time);

 private:
  LibavInput() = default;
  int _readBytes(std::span<std::uint8_t> into);
  std::int64_t _seekBytes(std::int64_t offset, int whence);
  void _clearReadError();
  void _seekRoughly(std::uint64_t time);
  bool _findsKeyFrame();
  bool _isBeforeKeyFrame();
  std::optional<std::uint64_t> _timeOf(std::int64_t value, const AVStream& stream) const;

  Source _source;
  std::uint64_t _offset = 0;
  MovieCheck _movieCheck;
  std::uint64_t _readLimit = 0;  // bytes that the current call may read
  bool _hasStopped = false;
  std::uint64_t _seekTime = 0;
  std::uint64_t _bytesRead = 0;  // since the begin of the last seek
  // Packets of this stream before a key frame, or _seekTime, are skipped.
  std::optional<int> _keyFrameStream;
  AVIOContext* _io = nullptr;
  AVFormatContext* _context = nullptr;
  PacketRef _packet;
};

}  // namespace media
