#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "media/output/SubtitleCue.h"
#include "media/texts/SubtitlePackets.h"

struct AVCodecContext;
struct AVSubtitle;

namespace media {

/// Decodes the packets of one stream of bitmap subtitles with libavcodec: DVB subtitles
/// (ETSI EN 300 743), subpictures of DVD, and the Presentation Graphic Stream (PGS) of Blu-ray.
///
/// Limits: a canvas, a PGS object and all DVB regions together have kPixelLimit pixels; the images
/// of a cue have SubtitleCue::kImageByteLimit bytes. What exceeds a limit is left out.
/// Threads: one at a time.
class ImageSubtitles {
 public:
  /// A cue without images ends the previous cue.
  using CueHandler = std::function<void(SubtitleCue cue)>;
  using Palette = std::array<std::uint32_t, 16>;  ///< 0xRRGGBB
  static constexpr int kPixelLimit = 4 << 20;

  /// `subpicture/x-pgs`, `subpicture/x-dvd` or `subpicture/x-dvb`.
  static bool isSupported(std::string_view mediaType);
  /// Returns null for any other type.
  static std::unique_ptr<ImageSubtitles> make(std::string_view mediaType, CueHandler onCue);

  ImageSubtitles(ImageSubtitleFormat format, CueHandler onCue);

  /// `start` and `duration` are the container's, in seconds; `duration` is kUntilNext if the
  /// container has none.
  void feed(double start, double duration, std::string_view packet);
  /// Discards the state of the decoder. Call it after a seek.
  void reset();
  /// Sets the colours of a DVD. They override those in the codec data.
  void setPalette(const Palette& palette);
  /// Sets the codec data of a DVD stream: the lines "size: 720x480" and "palette: 000000, …".
  void setDescription(std::string_view text);

 private:
  struct Release {
    void operator()(AVCodecContext* decoder) const;
  };

  bool _open();
  void _decode(double start, double duration, const SubtitlePackets::Part& part);
  void _emit(const AVSubtitle& decoded, double start, double duration);
  void _setTimes(SubtitleCue& cue, const AVSubtitle& decoded, double start, double duration) const;
  std::pair<int, int> _canvasSize(const AVSubtitle& decoded) const;

  const ImageSubtitleFormat _format;
  const CueHandler _onCue;
  SubtitlePackets _packets;
  std::unique_ptr<AVCodecContext, Release> _decoder;  // opened by the first packet
  std::string _description;
  std::string _palette;
  std::pair<int, int> _canvasOfDVB{720, 576};
};

}  // namespace media
