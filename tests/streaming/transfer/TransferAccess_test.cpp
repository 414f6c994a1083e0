// Which hosts and files a transfer may use.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

#include "streaming/transfer/TransferItem.h"
#include "streaming/transfer/http/AddressPolicy.h"
#include "tests/streaming/transfer/TransferClient.h"
#include "tests/streaming/transfer/TransferItemFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace streaming {
namespace {

using TransferAccessTest = TransferItemTest;

TEST_F(TransferAccessTest, ReadsFilesOnlyForTheItemsURL) {
  const testing_support::TemporaryFolder temporary;
  const std::string path = temporary / "a b.txt";
  std::ofstream(path) << "file contents";
  const std::string url = "file://" + temporary.path() + "/a%20b.txt";
  ItemSetup setup;
  setup.url = url;
  const auto item = service->open(setup);
  EXPECT_EQ(fetch(*item, url).body, "file contents");
  EXPECT_EQ(fetch(*item, url, ByteSpan{5, 3}).body, "con");
  EXPECT_EQ(fetch(*open("/a"), url).code(), -1002);
  EXPECT_EQ(fetch(*open("/a"), "data:text/vtt,a%2Cb").body, "a,b");
}

TEST_F(TransferAccessTest, DoesNotAllowPrivateAddressesToAPublicHost) {
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  server.script("/a", {{sized("private")}});
  ItemSetup setup;
  setup.url = "http://192.0.2.1/list.m3u8";
  ContentResponse redirect;
  redirect.redirectURL = server.url("/a");
  setup.requestContent = [&](const ContentRequest&,
                             const std::function<void(ContentResponse)>& reply) {
    reply(redirect);
  };
  const auto item = service->open(setup);
  EXPECT_EQ(fetch(*item, server.url("/a")).code(), -1004);
  EXPECT_EQ(fetch(*item, server.url("/a", "localhost")).code(), -1004);
  EXPECT_TRUE(server.requests().empty());
  // The connection of another item is not reused.
  EXPECT_EQ(fetch(*open("/a"), server.url("/a")).body, "private");
  EXPECT_EQ(fetch(*item, server.url("/a")).code(), -1004);
  EXPECT_EQ(fetch(*item, "x-demo:redirected").body, "private") << "the sender may name it";
}

TEST(AddressPolicy, DetectsPrivateAddresses) {
  for (const char* text : {"127.0.0.1", "10.1.2.3", "172.31.0.1", "192.168.1.1", "169.254.169.254",
                           "100.64.0.1", "0.0.0.0", "255.255.255.255", "::1", "::", "fe80::1%eth0",
                           "fd00::1", "::ffff:10.0.0.1", "64:ff9b::7f00:1", "2002:7f00:1::"})
    EXPECT_TRUE(isPrivateAddress(std::string(text))) << text;
  for (const char* text : {"8.8.8.8", "172.32.0.1", "192.169.0.1", "2001:4860::8888",
                           "::ffff:8.8.8.8", "host.example", ""})
    EXPECT_FALSE(isPrivateAddress(std::string(text))) << text;
  // The first address of the item's host decides.
  AddressPolicy outside("http://host.example/");
  EXPECT_FALSE(outside.allows(true, false));
  EXPECT_TRUE(outside.allows(false, true));
  EXPECT_FALSE(outside.allows(true, true));
  AddressPolicy inside("http://nas.example/");
  EXPECT_TRUE(inside.allows(true, true));
  EXPECT_TRUE(inside.allows(true, false));
}

/// Reads until `mark` is received.
std::string outputUntil(FILE* pipe, const char* mark) {
  std::string text;
  std::array<char, 256> line{};
  while (!contains(text, mark) && std::fgets(line.data(), line.size(), pipe)) text += line.data();
  return text;
}

TEST_F(TransferAccessTest, RequiresATrustedTLSCertificate) {
  const testing_support::TemporaryFolder temporary;
  const std::string certificate = temporary / "test.pem";
  const std::string make =
      "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 1 "
      "-subj /CN=127.0.0.1 -keyout " +
      certificate + " -out " + certificate + " 2>/dev/null";
  ASSERT_EQ(std::system(make.c_str()), 0);
  const std::string own = "-cert " + certificate + " -key " + certificate;
  const std::string shared =
      "-nocert -tls1_2 -psk 0a0b0c0d -psk_identity box -cipher PSK-AES128-CBC-SHA256";
  const auto key = [](const std::string& secret) {
    return PreSharedKey{*sharedBytes("box"), *sharedBytes(secret)};
  };
  const struct {
    std::string server;
    std::optional<PreSharedKey> key;
    bool trusted;
  } cases[] = {{own, {}, false},
               {own, key("\x0a\x0b\x0c\x0d"), false},
               {shared, key("\x0a\x0b\x0c\x0e"), false},
               {shared, {}, false},
               {shared, key("\x0a\x0b\x0c\x0d"), true}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.server + (one.trusted ? " trusted" : ""));
    const std::string command = "exec openssl s_server -accept 127.0.0.1:0 -naccept 1 -www " +
                                one.server + " </dev/null 2>&1";
    FILE* const peer = popen(command.c_str(), "r");
    ASSERT_TRUE(peer);
    const std::string ready = outputUntil(peer, "ACCEPT ");
    const auto port = ready.rfind(':') + 1;
    ItemSetup setup;
    setup.url = "https://127.0.0.1:" + ready.substr(port, ready.find('\n', port) - port) + "/a.mp4";
    setup.preSharedKey = one.key;
    const auto item = service->open(setup);
    const Outcome outcome = fetch(*item, setup.url);
    EXPECT_EQ(contains(outcome.body, "PSK-AES128-CBC-SHA256"), one.trusted);
    const auto failed = static_cast<std::int64_t>(platform::URLErrorCode::SecureConnectionFailed);
    EXPECT_EQ(outcome.code(), one.trusted ? std::nullopt : std::optional(failed));
    pclose(peer);
  }
}

}  // namespace
}  // namespace streaming
