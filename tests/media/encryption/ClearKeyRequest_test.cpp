#include "media/link/ClearKeyRequest.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using platform::Bytes;
using platform::Dictionary;
using platform::Value;

TEST(ClearKeyRequest, MakesALicenceRequestOrReportsAnError) {
  const Value identifier(Bytes{std::byte{0xff}, std::byte{0xfe}});
  const Value nothing(Bytes{});
  const Dictionary persistent{{"type", "persistent-license"}};
  const struct {
    Value certificate;
    Value identifier;
    Value options;
    std::string data;  // empty: it fails
  } cases[] = {
      {{}, identifier, {}, R"({"kids":["__4"],"type":"temporary"})"},
      {identifier, identifier, Dictionary{{"other", 1}}, R"({"kids":["__4"],"type":"temporary"})"},
      {{}, identifier, persistent, R"({"kids":["__4"],"type":"persistent-license"})"},
      {{}, nothing, {}, ""},
      {{}, "text", {}, ""},
      {nothing, identifier, {}, ""},
      {"text", identifier, {}, ""},
      {{}, identifier, Dictionary{{"type", "for ever"}}, ""},
  };
  for (const auto& one : cases) {
    media::ClearKeyRequest request(1, "own://key", {}, nullptr);
    request.setCertificateData(one.certificate);
    request.setContentIdentifierData(one.identifier);
    request.setRequestOptions(one.options);
    std::optional<platform::Error> error;
    EXPECT_EQ(request.loadKeyRequestData(&error), !one.data.empty());
    if (one.data.empty()) {
      ASSERT_TRUE(error);
      EXPECT_EQ(error->domain, platform::kMediaErrorDomain);
      EXPECT_EQ(error->code, -11835);
      EXPECT_TRUE(error->localizedFailureReason->ends_with("."));
      EXPECT_EQ(request.keyRequestData(), nullptr);
      continue;
    }
    const Bytes& data = *request.keyRequestData();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.data()), data.size()), one.data);
  }
}

}  // namespace
