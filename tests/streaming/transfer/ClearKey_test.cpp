#include "streaming/keys/ClearKey.h"

#include <gtest/gtest.h>

namespace {

using platform::Bytes;
using streaming::keyFromResponse;

Bytes bytesOf(std::string_view text) {
  Bytes bytes;
  for (const char letter : text) bytes.push_back(static_cast<std::byte>(letter));
  return bytes;
}

std::string textOf(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

const Bytes kFirstID = bytesOf("identifier no. 1");
const Bytes kFirstKey = bytesOf("\xfb\xff key number 01");
const Bytes kSecondKey = bytesOf("key number two..");

std::string entry(const Bytes& key, const std::string& keyID) {
  std::string text = R"({"kty":"oct","k":")" + streaming::base64urlOf(key) + '"';
  if (!keyID.empty()) text += R"(,"kid":")" + streaming::base64urlOf(bytesOf(keyID)) + '"';
  return text + "}";
}

TEST(ClearKey, WritesAKeyRequest) {
  EXPECT_EQ(textOf(streaming::keyRequestOf({kFirstID, bytesOf("\xff\xfe")})),
            R"({"kids":["aWRlbnRpZmllciBuby4gMQ","__4"],"type":"temporary"})");
  for (const std::string text : {"", "a", "ab", "abc", "\xff\xfb\xef"})
    EXPECT_EQ(streaming::bytesOfBase64url(streaming::base64urlOf(bytesOf(text))), bytesOf(text));
  EXPECT_EQ(streaming::bytesOfBase64url("YQ=="), bytesOf("a"));
  for (const char* text : {"Y", "Y+==", "Y Q", "YQ===", "Y=Q="})
    EXPECT_EQ(streaming::bytesOfBase64url(text), std::nullopt) << text;
}

TEST(ClearKey, ReadsTheKeyOfAResponse) {
  const std::string first = entry(kFirstKey, "identifier no. 1");
  const std::string second = entry(kSecondKey, "identifier no. 2");
  const std::string unnamed = entry(kSecondKey, "");
  const std::string tooShort = entry(bytesOf("fifteen bytes.."), "identifier no. 1");
  const auto license = [](const std::string& keys) { return R"({"keys":[)" + keys + "]}"; };
  const struct {
    std::string answer;
    std::optional<Bytes> keyID;
    std::optional<Bytes> key;
  } cases[] = {
      {textOf(kFirstKey), kFirstID, kFirstKey},
      {textOf(kFirstKey), std::nullopt, kFirstKey},
      {license(first), kFirstID, kFirstKey},
      {license(second + "," + first), kFirstID, kFirstKey},
      {license(unnamed), kFirstID, kSecondKey},
      {license(unnamed), std::nullopt, kSecondKey},
      {license(first), std::nullopt, kFirstKey},
      {license(second), kFirstID, std::nullopt},
      {license(first + "," + second), std::nullopt, std::nullopt},
      {license(tooShort), kFirstID, std::nullopt},
      {license(""), kFirstID, std::nullopt},
      {license(R"(1,null,"k",{"k":5},{"kid":"aa"})"), kFirstID, std::nullopt},
      {R"({"keys":{}})", kFirstID, std::nullopt},
      {"[]", kFirstID, std::nullopt},
      {"", kFirstID, std::nullopt},
      {"fifteen bytes..", kFirstID, std::nullopt},
      {R"({"keys":[)", kFirstID, std::nullopt},
      {"{\"keys\":\"\xff\xfe\"}", kFirstID, std::nullopt},
      {std::string(60000, '['), kFirstID, std::nullopt},
      {license(first) + std::string(70000, ' '), kFirstID, std::nullopt},
  };
  for (const auto& one : cases)
    EXPECT_EQ(keyFromResponse(bytesOf(one.answer), one.keyID), one.key)
        << one.answer.substr(0, 100);
}

}  // namespace
