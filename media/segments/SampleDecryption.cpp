#include "media/segments/SampleDecryption.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <span>
#include <utility>

#include "media/encryption/CommonEncryption.h"
#include "media/segments/SampleAES.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/encryption_info.h>
}

namespace media {
namespace {

using platform::Bytes;

constexpr auto kKeyTimeout = std::chrono::seconds(30);
constexpr std::size_t kMaxKeys = 64;
constexpr std::size_t kKeySize = 16;

struct EncryptionRelease {
  void operator()(AVEncryptionInfo* info) const { av_encryption_info_free(info); }
};
using EncryptionRef = std::unique_ptr<AVEncryptionInfo, EncryptionRelease>;

constexpr std::uint32_t schemeCode(const char (&name)[5]) {
  std::uint32_t code = 0;
  for (std::size_t at = 0; at < 4; ++at) code = code << 8 | static_cast<unsigned char>(name[at]);
  return code;
}

std::optional<SampleProtection> protectionOfSample(const AVEncryptionInfo& info) {
  SampleProtection protection;
  const bool hasPattern = info.crypt_byte_block > 0 && info.skip_byte_block > 0;
  std::uint32_t encryptedParts = info.subsample_count == 0 ? 1 : 0;
  for (std::uint32_t index = 0; index < info.subsample_count; ++index) {
    const AVSubsampleEncryptionInfo& part = info.subsamples[index];
    protection.parts.push_back({part.bytes_of_clear_data, part.bytes_of_protected_data});
    if (part.bytes_of_protected_data > 0) ++encryptedParts;
  }
  switch (info.scheme) {
    case schemeCode("cens"):
      if (hasPattern) return std::nullopt;
      [[fallthrough]];
    case schemeCode("cenc"):
      break;
    case schemeCode("cbc1"):
      // With several parts the CBC chain would continue from part to part: not supported.
      if (encryptedParts > 1) return std::nullopt;
      [[fallthrough]];
    case schemeCode("cbcs"):
      protection.scheme = SampleProtection::Scheme::CBCS;
      break;
    default:
      return std::nullopt;
  }
  protection.encryptedBlocks = info.crypt_byte_block;
  protection.clearBlocks = info.skip_byte_block;
  const std::span vector(reinterpret_cast<const std::byte*>(info.iv), info.iv_size);
  if (vector.size() > protection.initialVector.size()) return std::nullopt;
  std::copy(vector.begin(), vector.end(), protection.initialVector.begin());
  return protection;
}

}  // namespace

struct SampleDecryption::KeyRequest {
  std::mutex mutex;  // guards the members below
  std::condition_variable changed;
  bool isAnswered = false;
  std::optional<Bytes> key;
};

std::optional<Bytes> SampleDecryption::_requestKey(const Bytes& keyID,
                                                   const streaming::ReadGate& gate) {
  if (!_keys) return std::nullopt;
  const auto request = std::make_shared<KeyRequest>();
  _keys->requestKey(keyID, [request](const std::optional<Bytes>& key) {
    const std::lock_guard lock(request->mutex);
    request->isAnswered = true;
    request->key = key;
    request->changed.notify_all();
  });
  const streaming::ReadGate::Waiter waiter(gate, request->mutex, request->changed);
  std::unique_lock lock(request->mutex);
  request->changed.wait_for(lock, kKeyTimeout,
                            [&] { return request->isAnswered || gate.isClosed(); });
  if (!request->key || request->key->size() != kKeySize) return std::nullopt;
  return request->key;
}

SampleDecryption::Outcome SampleDecryption::decrypt(AVPacket& packet, AVCodecID codec,
                                                    const streaming::TrackPiece& piece,
                                                    const streaming::ReadGate& gate) {
  Bytes key;
  if (piece.sampleKey) {
    const auto bytes = std::as_bytes(std::span(*piece.sampleKey));
    key.assign(bytes.begin(), bytes.end());
  }
  if (piece.initialization) return _decryptCommon(packet, key, gate);
  const auto& method = piece.segment.key;
  if (!method || method->method != streaming::SegmentKey::Method::SampleAES)
    return _decryptCommon(packet, key, gate);
  if (key.size() != kKeySize) return Outcome::NoKey;
  std::array<std::byte, kKeySize> vector{};
  if (method->initialVector) {
    vector = *method->initialVector;
  } else {
    std::uint64_t number = piece.segment.number;
    for (std::size_t at = vector.size(); number > 0; number >>= 8)
      vector[--at] = static_cast<std::byte>(number & 0xff);
  }
  return decryptSampleAES(packet, codec, key, vector) ? Outcome::Clear : Outcome::Unusable;
}

SampleDecryption::Outcome SampleDecryption::_decryptCommon(AVPacket& packet,
                                                           const Bytes& keyOfPiece,
                                                           const streaming::ReadGate& gate) {
  std::size_t size = 0;
  const std::uint8_t* const data =
      av_packet_get_side_data(&packet, AV_PKT_DATA_ENCRYPTION_INFO, &size);
  if (!data) return Outcome::Clear;
  const EncryptionRef info(av_encryption_info_get_side_data(data, size));
  const auto protection = info ? protectionOfSample(*info) : std::nullopt;
  if (!protection || info->key_id_size == 0) return Outcome::Unusable;
  if (av_packet_make_writable(&packet) < 0) return Outcome::Unusable;
  const std::span sample(reinterpret_cast<std::byte*>(packet.data),
                         static_cast<std::size_t>(packet.size));
  if (keyOfPiece.size() == kKeySize)
    return decryptSample(sample, keyOfPiece, *protection) ? Outcome::Clear : Outcome::Unusable;
  const std::span identifier(reinterpret_cast<const std::byte*>(info->key_id), info->key_id_size);
  const Bytes keyID(identifier.begin(), identifier.end());
  auto known = _keysByID.find(keyID);
  if (known == _keysByID.end()) {
    auto key = _requestKey(keyID, gate);
    if (!key) return gate.isClosed() ? Outcome::Cancelled : Outcome::NoKey;
    if (_keysByID.size() >= kMaxKeys) _keysByID.clear();
    known = _keysByID.emplace(keyID, std::move(*key)).first;
  }
  return decryptSample(sample, known->second, *protection) ? Outcome::Clear : Outcome::Unusable;
}

}  // namespace media
