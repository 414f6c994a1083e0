#pragma once

#include <cstddef>
#include <optional>
#include <span>

#include <gst/gst.h>

namespace media {

/// How packets of H.264 or H.265 are divided into NAL units.
struct NalFormat {
  enum class Codec { H264, H265 };
  Codec codec = Codec::H264;
  std::size_t lengthSize = 0;  ///< bytes of the length before each NAL unit; 0: start codes

  bool operator==(const NalFormat&) const = default;
};

/// Returns nullopt for other codecs, and for caps without a format.
std::optional<NalFormat> nalFormatOf(const GstCaps* caps);

/// Reads the NAL units of a packet one after the other.
class NalReader {
 public:
  NalReader(std::span<const guint8> packet, std::size_t lengthSize);
  /// Returns nullopt at the end and for broken data; see isBroken().
  std::optional<std::span<const guint8>> next();
  bool isBroken() const { return _isBroken; }

 private:
  std::optional<std::span<const guint8>> _nextByLength();
  std::optional<std::span<const guint8>> _nextByCode();

  std::span<const guint8> _rest;
  const std::size_t _lengthSize;
  bool _isBroken = false;
};

/// How well decoding can begin with a packet.
enum class KeyKind {
  None,
  Intra,   ///< is decodable itself, but following pictures may refer to earlier ones
  Random,  ///< a random access point, by its NAL unit type or its recovery point message
};
KeyKind keyKindOf(std::span<const guint8> packet, const NalFormat& format);

}  // namespace media
