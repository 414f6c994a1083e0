#include <gtest/gtest.h>
#include <openssl/evp.h>

#include "streaming/playback/loading/SegmentDecryptor.h"
#include "tests/streaming/playback/feeding/FeederFixture.h"

namespace streaming::test {
namespace {

using Lines = std::vector<std::string>;

const std::string kKey = "0123456789abcdef";

std::string encrypted(const std::string& clear, const std::string& key, std::uint8_t vector) {
  std::string result(clear.size() + 32, '\0');
  std::array<unsigned char, 16> initial{};
  initial[15] = vector;
  EVP_CIPHER_CTX* cipher = EVP_CIPHER_CTX_new();
  int count = 0;
  int rest = 0;
  auto* out = reinterpret_cast<unsigned char*>(result.data());
  EVP_EncryptInit_ex(cipher, EVP_aes_128_cbc(), nullptr,
                     reinterpret_cast<const unsigned char*>(key.data()), initial.data());
  EVP_EncryptUpdate(cipher, out, &count, reinterpret_cast<const unsigned char*>(clear.data()),
                    static_cast<int>(clear.size()));
  EVP_EncryptFinal_ex(cipher, out + count, &rest);
  EVP_CIPHER_CTX_free(cipher);
  result.resize(static_cast<std::size_t>(count + rest));
  return result;
}

TEST(SegmentDecryptor, DecryptsPiecesOfAnySize) {
  const std::string clear(1000, 'x');
  const std::string secret = encrypted(clear, kKey, 7);
  for (const std::size_t step :
       {std::size_t{1}, std::size_t{15}, std::size_t{16}, std::size_t{17}, secret.size()}) {
    std::array<std::byte, 16> vector{};
    vector[15] = std::byte{7};
    SegmentDecryptor decryptor(kKey, vector);
    std::string result;
    for (std::size_t i = 0; i < secret.size(); i += step)
      result += decryptor.pass(std::string_view(secret).substr(i, step));
    const auto rest = decryptor.finish();
    ASSERT_TRUE(rest);
    EXPECT_EQ(result + *rest, clear);
  }
  SegmentDecryptor cutOff(kKey, {});
  cutOff.pass(std::string_view(secret).substr(0, 100));
  EXPECT_FALSE(cutOff.finish());
  EXPECT_FALSE(SegmentDecryptor("short", {}).finish());
}

/// Three segments. The last two are encrypted; their numbers are the initialization vectors.
void makeEncryptedFilm(FeederFixture& fixture, SegmentKey::Method method) {
  auto segments = listSegments("v", 3);
  auto key = std::make_shared<SegmentKey>();
  key->method = method;
  key->url = "key";
  auto initialization = std::make_shared<Initialization>();
  initialization->resource.urls = {"gone", "init"};
  fixture.network.add("init", "init");
  for (Segment& each : segments) {
    const std::string& url = each.resource.urls.front();
    each.initialization = initialization;
    if (each.number == 1) {
      fixture.network.add(url, url);
      continue;
    }
    each.key = key;
    fixture.network.add(url, encrypted(url, kKey, static_cast<std::uint8_t>(each.number)));
  }
  fixture.media = presentationOf(
      {trackOf(MediaKind::Video, "v", {representationOf("v", 1e6, 720, std::move(segments))})}, 12);
}

TEST(EncryptedSegments, ShareOneKeyAndOneInitialization) {
  FeederFixture fixture;
  makeEncryptedFilm(fixture, SegmentKey::Method::AES128);
  fixture.network.add("key", kKey);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  EXPECT_EQ(fixture.read(), (Lines{"init+*v/1", "init+v/2", "init+v/3", "end"}));
  EXPECT_EQ(fixture.network.countOf("key"), 1u);
  EXPECT_EQ(fixture.network.countOf("init"), 1u);
}

TEST(EncryptedSegments, PassTheKeyOfSampleEncryption) {
  FeederFixture fixture;
  makeEncryptedFilm(fixture, SegmentKey::Method::SampleAES);
  fixture.network.add("key", kKey);
  fixture.begin(MediaKind::Video, "v", 0);
  fixture.advance(1);
  const auto clear = fixture.buffer().take();
  ASSERT_TRUE(clear);
  EXPECT_FALSE(clear->sampleKey);
  const auto piece = fixture.buffer().take();
  ASSERT_TRUE(piece);
  ASSERT_TRUE(piece->sampleKey);
  EXPECT_EQ(*piece->sampleKey, kKey);
  EXPECT_EQ(piece->media->copy(), encrypted("v/2", kKey, 2));
}

struct RefusedKey {
  const char* name;
  std::optional<std::string> answer;  // nullopt: status 403
  bool isGiven;                       // the response is a key, but the wrong one
};

TEST(EncryptedSegments, FailAfterClearSegmentsWhenTheKeyIsRefused) {
  const std::vector<RefusedKey> cases = {{"refused", std::nullopt, false},
                                         {"empty", "", false},
                                         {"too long", std::string(17, 'k'), false},
                                         {"another one", std::string(16, 'k'), true}};
  for (const RefusedKey& each : cases) {
    SCOPED_TRACE(each.name);
    FeederFixture fixture;
    makeEncryptedFilm(fixture, SegmentKey::Method::AES128);
    ScriptedTransfers::Resource refusal;
    refusal.error = statusError(403);
    if (each.answer)
      fixture.network.add("key", *each.answer);
    else
      fixture.network.add("key", refusal);
    fixture.begin(MediaKind::Video, "v", 0);
    fixture.advance(1);
    const Lines lines = fixture.read();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "init+*v/1");
    // The HTTP error, or the error for an invalid key.
    const bool isRefused = lines.back() == (each.answer ? "failed -11835" : "failed 403");
    EXPECT_EQ(isRefused, !each.isGiven);
    for (std::size_t i = 1; i < lines.size(); ++i)
      EXPECT_EQ(lines[i].find("v/"), std::string::npos);
    EXPECT_EQ(fixture.network.countOf("key"), 1u);
  }
}

}  // namespace
}  // namespace streaming::test
