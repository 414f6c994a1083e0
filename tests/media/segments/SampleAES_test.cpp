#include "media/segments/SampleAES.h"

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <openssl/evp.h>

#include "media/segments/MediaContainer.h"
#include "tests/media/TestMedia.h"
#include "tests/media/segments/FakeTrack.h"

namespace {

using testing_media::TestMedia;
using testing_segments::demuxed;
using testing_segments::FakeTrack;
using testing_segments::fileContent;

const std::string kKeyText = "0123456789abcdef";

/// Encrypts one block in CBC mode. `chain` is the previous block and becomes the new one.
std::string encryptedBlock(const std::string& block, std::string& chain) {
  const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(
      EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
  const auto octets = [](const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
  };
  EVP_EncryptInit_ex(context.get(), EVP_aes_128_cbc(), nullptr, octets(kKeyText), octets(chain));
  std::string result(32, '\0');
  int size = 0;
  EVP_EncryptUpdate(context.get(), reinterpret_cast<unsigned char*>(result.data()), &size,
                    octets(block), 16);
  chain = result.substr(0, 16);
  return chain;
}

/// Leaves `clear` bytes, then encrypts one of every `step` blocks if at least `rest` bytes follow
/// it.
std::string encryptedPart(std::string bytes, std::size_t clear, std::size_t step,
                          std::size_t rest) {
  std::string chain(16, '\7');
  for (std::size_t at = clear; at + 16 + rest <= bytes.size(); at += step * 16)
    bytes.replace(at, 16, encryptedBlock(bytes.substr(at, 16), chain));
  return bytes;
}

std::string escaped(const std::string& bytes) {
  std::string result;
  std::size_t zeros = 0;
  for (const char each : bytes) {
    if (zeros >= 2 && static_cast<unsigned char>(each) <= 3) {
      result.push_back(3);
      zeros = 0;
    }
    result.push_back(each);
    zeros = each == 0 ? zeros + 1 : 0;
  }
  return result;
}

platform::Bytes keyOf(const std::string& text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

std::string decryptedUnit(const std::string& unit, AVCodecID codec) {
  const media::PacketRef packet(av_packet_alloc());
  EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(unit.size())), 0);
  std::copy(unit.begin(), unit.end(), packet->data);
  std::array<std::byte, 16> vector{};
  vector.fill(std::byte{7});
  EXPECT_TRUE(media::decryptSampleAES(*packet, codec, keyOf(kKeyText), vector));
  return {reinterpret_cast<const char*>(packet->data), static_cast<std::size_t>(packet->size)};
}

TEST(SampleAES, DecryptsSlicesOfH264) {
  const std::string start("\0\0\0\1", 4);
  for (const std::size_t size : {20U, 48U, 49U, 64U, 65U, 192U, 208U, 209U, 5000U}) {
    SCOPED_TRACE(size);
    std::string clear = start + std::string("\x67parameters") + start;
    std::string encrypted = clear;
    for (unsigned round = 0; round < 40; ++round) {
      std::string slice = "\x65";
      // A slice has no start codes and does not end with a zero byte.
      while (slice.size() < size)
        slice.push_back(static_cast<char>(slice.size() * (round + 3) % 251 + 4));
      clear += slice + start;
      encrypted += (size > 48 ? escaped(encryptedPart(slice, 32, 10, 1)) : slice) + start;
    }
    clear += "\x09";
    encrypted += "\x09";
    EXPECT_TRUE(decryptedUnit(encrypted, AV_CODEC_ID_H264) == clear);
  }
}

TEST(SampleAES, DecryptsAudioFrames) {
  const std::string adts = "\xff\xf1" + std::string(300, 'a');
  EXPECT_EQ(decryptedUnit(encryptedPart(adts, 7 + 16, 1, 0), AV_CODEC_ID_AAC), adts);
  const std::string longHeader = "\xff\xf0" + std::string(300, 'a');
  EXPECT_EQ(decryptedUnit(encryptedPart(longHeader, 9 + 16, 1, 0), AV_CODEC_ID_AAC), longHeader);
  const std::string ac3 = "\x0b\x77" + std::string(300, 'a');
  EXPECT_EQ(decryptedUnit(encryptedPart(ac3, 16, 1, 0), AV_CODEC_ID_AC3), ac3);
  const std::string frame = std::string("\x0b\x77\x00\x31", 4) + std::string(96, 'a');
  EXPECT_EQ(decryptedUnit(encryptedPart(frame, 16, 1, 0) + encryptedPart(frame, 16, 1, 0),
                          AV_CODEC_ID_EAC3),
            frame + frame);
}

TEST(SampleAES, DecryptsPackedAudioWithTheKeyOfItsPiece) {
  static_cast<void>(TestMedia::shared().url("aes.aac", "-map 1 -t 1 -c:a aac"));
  const std::string clear = fileContent(TestMedia::shared().path("aes.aac"));
  std::string encrypted;
  for (std::size_t at = 0; at + 7 <= clear.size();) {
    const auto octet = [&](std::size_t index) {
      return static_cast<std::size_t>(static_cast<unsigned char>(clear[at + index]));
    };
    const std::size_t size = (octet(3) & 3) << 11 | octet(4) << 3 | octet(5) >> 5;
    encrypted += encryptedPart(clear.substr(at, size), 7 + 16, 1, 0);
    at += size;
  }
  const auto listenTo = [&](const std::string& media, std::shared_ptr<const std::string> key,
                            bool isEncrypted) {
    const auto track = std::make_shared<FakeTrack>();
    auto& piece = track->add(media, 1);
    if (isEncrypted) {
      auto method = std::make_shared<streaming::SegmentKey>();
      method->method = streaming::SegmentKey::Method::SampleAES;
      method->initialVector.emplace().fill(std::byte{7});
      piece.segment.key = method;
      piece.sampleKey = std::move(key);
    }
    return demuxed(track);
  };
  const auto expected = listenTo(clear, nullptr, false);
  const auto output = listenTo(encrypted, std::make_shared<std::string>(kKeyText), true);
  ASSERT_EQ(output.audio.size(), expected.audio.size());
  for (std::size_t index = 0; index < output.audio.size(); ++index)
    EXPECT_TRUE(output.audio[index].bytes == expected.audio[index].bytes) << index;

  const auto refused = listenTo(encrypted, nullptr, true);
  ASSERT_TRUE(refused.failure);
  EXPECT_EQ(refused.failure->code,
            static_cast<std::int64_t>(platform::MediaErrorCode::ContentNotAuthorized));
}

}  // namespace
