#include "media/support/NalUnits.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace media {
namespace {

using Bytes = std::span<const guint8>;

constexpr std::string_view kStartCode("\0\0\1", 3);
/// The last two bits of these bytes of the configuration records are the length size less one.
constexpr gsize kH264LengthAt = 4;
constexpr gsize kH265LengthAt = 21;

constexpr unsigned kH264Slice = 1;
constexpr unsigned kH264IDR = 5;
constexpr unsigned kH264SEI = 6;
constexpr unsigned kRecoveryPoint = 6;
constexpr unsigned kH265FirstIRAP = 16;
constexpr unsigned kH265LastIRAP = 21;

/// Reads unsigned Exp-Golomb codes. Emulation prevention bytes do not occur in the first two codes
/// of a slice, which are small.
class BitReader {
 public:
  explicit BitReader(Bytes bytes) : _bytes(bytes) {}
  std::optional<unsigned> code() {
    unsigned zeros = 0;
    while (_at < 8 * _bytes.size() && !_bit()) ++zeros;
    if (_at + zeros > 8 * _bytes.size() || zeros > 24) return std::nullopt;
    unsigned value = 1;
    for (; zeros > 0; --zeros) value = value << 1 | (_bit() ? 1u : 0u);
    return value - 1;
  }

 private:
  bool _bit() {
    const bool bit = (_bytes[_at / 8] >> (7 - _at % 8) & 1) != 0;
    ++_at;
    return bit;
  }
  Bytes _bytes;
  std::size_t _at = 0;
};

bool isIntraSlice(Bytes nal) {
  BitReader bits(nal.subspan(1));
  const auto first = bits.code();
  const auto type = bits.code();
  constexpr unsigned kI = 2;
  constexpr unsigned kSI = 4;
  return first && type && (*type % 5 == kI || *type % 5 == kSI);
}

/// Returns whether an SEI has a recovery point message.
bool hasRecoveryPoint(Bytes nal) {
  std::size_t at = 1;
  const auto number = [&] {
    std::size_t value = 0;
    while (at < nal.size() && nal[at] == 0xff) value += nal[at++];
    return at < nal.size() ? value + nal[at++] : nal.size();
  };
  while (at + 2 < nal.size()) {
    const std::size_t type = number();
    const std::size_t size = number();
    if (type == kRecoveryPoint) return true;
    at += size;
  }
  return false;
}

KeyKind keyKindOfH264(NalReader nals) {
  bool hasSlices = false;
  bool isIntra = true;
  while (const auto nal = nals.next()) {
    if (nal->empty()) continue;
    const unsigned type = (*nal)[0] & 0x1fu;
    if (type == kH264IDR || (type == kH264SEI && hasRecoveryPoint(*nal))) return KeyKind::Random;
    if (type != kH264Slice) continue;
    hasSlices = true;
    isIntra = isIntra && isIntraSlice(*nal);
  }
  return hasSlices && isIntra ? KeyKind::Intra : KeyKind::None;
}

KeyKind keyKindOfH265(NalReader nals) {
  while (const auto nal = nals.next()) {
    const unsigned type = nal->empty() ? 0 : (*nal)[0] >> 1 & 0x3fu;
    if (type >= kH265FirstIRAP && type <= kH265LastIRAP) return KeyKind::Random;
  }
  return KeyKind::None;
}

}  // namespace

std::optional<NalFormat> nalFormatOf(const GstCaps* caps) {
  const GstStructure* const media = caps ? gst_caps_get_structure(caps, 0) : nullptr;
  if (!media) return std::nullopt;
  const bool isH264 = gst_structure_has_name(media, "video/x-h264");
  if (!isH264 && !gst_structure_has_name(media, "video/x-h265")) return std::nullopt;
  NalFormat format{isH264 ? NalFormat::Codec::H264 : NalFormat::Codec::H265, 0};
  const char* const form = gst_structure_get_string(media, "stream-format");
  if (!form) return std::nullopt;
  if (std::strcmp(form, "byte-stream") == 0) return format;
  const GValue* const configuration = gst_structure_get_value(media, "codec_data");
  GstBuffer* const record = configuration ? gst_value_get_buffer(configuration) : nullptr;
  guint8 length = 0;
  if (!record ||
      gst_buffer_extract(record, isH264 ? kH264LengthAt : kH265LengthAt, &length, 1) != 1)
    return std::nullopt;
  format.lengthSize = (length & 3u) + 1;
  return format;
}

KeyKind keyKindOf(Bytes packet, const NalFormat& format) {
  const NalReader nals(packet, format.lengthSize);
  return format.codec == NalFormat::Codec::H264 ? keyKindOfH264(nals) : keyKindOfH265(nals);
}

NalReader::NalReader(Bytes packet, std::size_t lengthSize)
    : _rest(packet), _lengthSize(lengthSize) {
  if (lengthSize > 0) return;
  const auto begin =
      std::search(_rest.begin(), _rest.end(), kStartCode.begin(), kStartCode.end(),
                  [](guint8 byte, char code) { return byte == static_cast<guint8>(code); });
  _rest = _rest.subspan(static_cast<std::size_t>(begin - _rest.begin()));
}

std::optional<Bytes> NalReader::next() {
  if (_rest.empty() || _isBroken) return std::nullopt;
  return _lengthSize > 0 ? _nextByLength() : _nextByCode();
}

std::optional<Bytes> NalReader::_nextByLength() {
  std::size_t length = 0;
  for (std::size_t index = 0; index < _lengthSize && index < _rest.size(); ++index)
    length = length << 8 | _rest[index];
  _isBroken = _rest.size() <= _lengthSize || length == 0 || length > _rest.size() - _lengthSize;
  if (_isBroken) return std::nullopt;
  const Bytes nal = _rest.subspan(_lengthSize, length);
  _rest = _rest.subspan(_lengthSize + length);
  return nal;
}

std::optional<Bytes> NalReader::_nextByCode() {
  const Bytes after = _rest.subspan(kStartCode.size());
  const std::string_view text(reinterpret_cast<const char*>(after.data()), after.size());
  const std::size_t length = std::min(text.find(kStartCode), text.size());
  _isBroken = length == 0;
  if (_isBroken) return std::nullopt;
  _rest = after.subspan(length);
  return after.first(length);
}

}  // namespace media
