#include "media/encryption/CommonEncryption.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using media::SampleProtection;
using platform::Bytes;
using Scheme = SampleProtection::Scheme;

Bytes bytesOf(const std::string& hex) {
  Bytes bytes;
  for (std::size_t at = 0; at < hex.size(); at += 2)
    bytes.push_back(static_cast<std::byte>(std::stoi(hex.substr(at, 2), nullptr, 16)));
  return bytes;
}

// Test vectors of NIST SP 800-38A: two blocks in clear text, in CBC and in CTR mode.
const Bytes kKey = bytesOf("2b7e151628aed2a6abf7158809cf4f3c");
const std::string kFirst = "6bc1bee22e409f96e93d7e117393172a";
const std::string kSecond = "ae2d8a571e03ac9c9eb76fac45af8e51";
const std::string kChainVector = "000102030405060708090a0b0c0d0e0f";
const std::string kChainedFirst = "7649abac8119b246cee98e9b12e9197d";
const std::string kChainedSecond = "5086cb9b507219ee95db113a917678b2";
const std::string kCounter = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";
const std::string kCountedFirst = "874d6191b620e3261bef6864990db6ce";
const std::string kCountedSecond = "9806f66b7970fdff8617187bb9fffdff";

Bytes decrypted(const std::string& sample, Scheme scheme, const std::string& vector,
                std::vector<SampleProtection::Part> parts, std::uint32_t encryptedBlocks = 0,
                std::uint32_t clearBlocks = 0) {
  SampleProtection protection{scheme, {}, std::move(parts), encryptedBlocks, clearBlocks};
  const Bytes initial = bytesOf(vector);
  std::copy(initial.begin(), initial.end(), protection.initialVector.begin());
  Bytes bytes = bytesOf(sample);
  EXPECT_TRUE(media::decryptSample(bytes, kKey, protection));
  return bytes;
}

TEST(CommonEncryption, DecryptsEncryptedParts) {
  EXPECT_EQ(decrypted(kCountedFirst + kCountedSecond, Scheme::CENC, kCounter, {}),
            bytesOf(kFirst + kSecond));
  // The counter continues across clear bytes.
  const std::string cut = "aabbcc" + kCountedFirst + kCountedSecond.substr(0, 6) + "dd" +
                          kCountedSecond.substr(6) + "ee";
  EXPECT_EQ(decrypted(cut, Scheme::CENC, kCounter, {{3, 19}, {1, 13}}),
            bytesOf("aabbcc" + kFirst + kSecond.substr(0, 6) + "dd" + kSecond.substr(6) + "ee"));

  EXPECT_EQ(decrypted(kChainedFirst + kChainedSecond + "0102", Scheme::CBCS, kChainVector, {}),
            bytesOf(kFirst + kSecond + "0102"));
  // The CBC chain continues across clear blocks and restarts in each part.
  const std::string clear(32, '7');
  EXPECT_EQ(decrypted("aa" + kChainedFirst + clear + kChainedSecond + "0102" + kChainedFirst,
                      Scheme::CBCS, kChainVector, {{1, 50}, {0, 16}}, 1, 1),
            bytesOf("aa" + kFirst + clear + kSecond + "0102" + kFirst));
}

TEST(CommonEncryption, CounterHas64Bits) {
  const std::string zeros(32, '0');
  const std::string upper = "f0f1f2f3f4f5f6f7";
  const Bytes over =
      decrypted(zeros + zeros, Scheme::CENC, upper + "ffffffffffffffff", {{0, 20}, {0, 12}});
  const Bytes after = decrypted(zeros, Scheme::CENC, upper + "0000000000000000", {});
  EXPECT_EQ(Bytes(over.begin() + 16, over.end()), after);
}

TEST(CommonEncryption, RejectsInvalidParameters) {
  Bytes sample(20);
  for (const Scheme scheme : {Scheme::CENC, Scheme::CBCS}) {
    EXPECT_FALSE(media::decryptSample(sample, Bytes(15), {scheme, {}, {}, 0, 0}));
    EXPECT_FALSE(media::decryptSample(sample, kKey, {scheme, {}, {{5, 16}}, 0, 0}));
    EXPECT_FALSE(media::decryptSample(sample, kKey, {scheme, {}, {{5, 0xffffffff}}, 0, 0}));
    EXPECT_TRUE(media::decryptSample(sample, kKey, {scheme, {}, {{5, 15}}, 0, 0}));
  }
}

}  // namespace
