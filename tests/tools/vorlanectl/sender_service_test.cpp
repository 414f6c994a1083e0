#include <cstdint>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/vorlanectl/FakeDBusServer.h"
#include "tools/vorlanectl/SenderService.h"

namespace {

using vorlanectl::Json;

/// Runs a session with one request of its player, and records the calls that answer it.
class SenderServiceTest : public testing::Test {
 protected:
  SenderServiceTest() {
    folder = root / "served";
    std::filesystem::create_directories(folder / "sub");
    write(folder / "list.m3u8", "#EXTM3U");
    write(folder / "sub" / "a b.ts", "0123456789");
    write(root / "secret", "secret");
    std::filesystem::create_symlink(root / "secret", folder / "link");
  }

  static void write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }

  /// The calls between the start and the stop of the session.
  std::vector<std::string> play(const std::vector<std::string>& options, const Json& request) {
    FakeDBusServer server;
    server.out = out;
    server.signalsAfter["StartVideo"] = {{"Receiver1", "Event", "failedURLRequest", request},
                                         {"Receiver1", "Event", "stopped", {{"sessionID", 7}}}};
    std::vector<std::string> words = {"play", "x-demo://list.m3u8", "--session", "7"};
    words.insert(words.end(), options.begin(), options.end());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    status = server.run(words);
    testing::internal::GetCapturedStdout();
    errors = testing::internal::GetCapturedStderr();
    std::vector<std::string> calls = server.calls();
    started = !calls.empty();
    std::erase_if(calls, [](const std::string& call) { return !call.starts_with("Perform"); });
    return calls;
  }
  static Json requestFor(const std::string& kind, const std::string& url) {
    return {{"FCUP_Request_RequestID", 5}, {"FCUP_Request_URL", url}, {"FCUP_Request_Kind", kind}};
  }
  static std::string response(Json params, const std::string& url, int code) {
    params["FCUP_Response_RequestID"] = 5;
    params["FCUP_Response_StatusCode"] = code;
    params["FCUP_Response_URL"] = url;
    return "Perform \"failedURLResponse\" " + params.dump();
  }

  const testing_support::TemporaryFolder _temporary;
  const std::filesystem::path root = _temporary.path();
  std::filesystem::path folder;
  Json out = Json::object();  // output dictionary of the calls
  bool started = false;
  int status = 0;
  std::string errors;
};

TEST_F(SenderServiceTest, FindsOnlyFilesInItsFolder) {
  const struct {
    const char* url;
    const char* file;  // empty: none
  } cases[] = {
      {"x-demo://list.m3u8", "list.m3u8"},
      {"x-demo:list.m3u8?a=/b#c", "list.m3u8"},
      {"x-demo:///list.m3u8", "list.m3u8"},
      {"x-demo://sub/a%20b.ts", "sub/a b.ts"},
      {"x-demo://list.m3u8/sub/a%20b.ts", "sub/a b.ts"},
      {"x-demo://list.m3u8/other.ts", ""},
      {"x-demo://sub", ""},
      {"x-demo://", ""},
      {"list.m3u8", ""},
      {"x-demo://../secret", ""},
      {"x-demo://sub/%2e%2e/%2e%2e/secret", ""},
      {"x-demo:///etc/passwd", ""},
      {"x-demo://link", ""},
  };
  for (const auto& one : cases) {
    const auto file = vorlanectl::fileOfURL(folder, one.url);
    EXPECT_EQ(file.value_or(""), *one.file ? (folder / one.file).string() : "") << one.url;
  }
}

TEST_F(SenderServiceTest, ServesFiles) {
  const std::string url = "x-demo://sub/a%20b.ts";
  const struct {
    const char* range;
    const char* part;
    const char* data;
  } cases[] = {
      {"", "", "MDEyMzQ1Njc4OQ=="},          {"bytes=0-", "bytes 0-9/10", "MDEyMzQ1Njc4OQ=="},
      {"bytes=2-4", "bytes 2-4/10", "MjM0"}, {"bytes=8-99", "bytes 8-9/10", "ODk="},
      {"bytes=-3", "bytes 7-9/10", "Nzg5"},  {"bytes=10-", "", "MDEyMzQ1Njc4OQ=="},
  };
  for (const auto& one : cases) {
    Json request = requestFor("resource", url);
    if (*one.range) request["FCUP_Request_Range"] = one.range;
    Json headers = {{"Content-Type", "video/mp2t"}};
    if (*one.part) headers["Content-Range"] = one.part;
    const Json params = {{"FCUP_Response_Data", {{"$data", one.data}}},
                         {"FCUP_Response_Headers", headers}};
    EXPECT_EQ(play({"--serve", folder}, request),
              std::vector{response(params, url, *one.part ? 206 : 200)});
    EXPECT_EQ(status, 0) << errors;
  }
  EXPECT_EQ(play({"--serve", folder}, requestFor("resource", "x-demo://none")),
            std::vector{response(Json::object(), "x-demo://none", 404)});
  // A sparse file.
  write(folder / "large.mp4", "");
  std::filesystem::resize_file(folder / "large.mp4", std::uintmax_t{16} << 20);
  EXPECT_EQ(play({"--serve", folder}, requestFor("resource", "x-demo://large.mp4")),
            std::vector{response(Json::object(), "x-demo://large.mp4", 413)});
  EXPECT_NE(errors.find("16777216 bytes do not fit"), std::string::npos) << errors;
  // Kinds of requests that are not served are ignored.
  EXPECT_TRUE(play({"--serve", folder}, requestFor("key", url)).empty());
  EXPECT_TRUE(play({"--wait"}, requestFor("resource", url)).empty());
}

TEST_F(SenderServiceTest, ServesKeys) {
  write(root / "keys.json", R"({"x-keys://one": "6b6b6b6b6b6b6b6b6b6b6b6b6b6b6b6b",
      "01234567-89ab-cdef-0123-456789abcdef": "bGxsbGxsbGxsbGxsbGxsbA"})");
  write(root / "key", std::string(16, 'm'));
  const std::string byURL = "x-keys://one";
  const std::string byIdentifier = "clearkey:ASNFZ4mrze8BI0VniavN7w";
  const std::string askedURL = vorlanectl::base64(byURL.data(), byURL.size());
  const auto licence = [](const std::string& key) {
    return R"({"keys":[{"kty":"oct","kid":"ASNFZ4mrze8BI0VniavN7w","k":")" + key +
           R"("}],"type":"temporary"})";
  };
  const struct {
    const char* file;
    std::string url;
    std::string assetID;  // base64
    std::string keyID;    // base64url
    std::string answer;   // empty: status 404
  } cases[] = {
      {"keys.json", byURL, askedURL, "eC1rZXlzOi8vb25l", std::string(16, 'k')},
      {"key", byURL, askedURL, "eC1rZXlzOi8vb25l", std::string(16, 'm')},
      {"keys.json", byIdentifier, "ASNFZ4mrze8BI0VniavN7w==", "ASNFZ4mrze8BI0VniavN7w",
       licence("bGxsbGxsbGxsbGxsbGxsbA")},
      {"key", byIdentifier, "ASNFZ4mrze8BI0VniavN7w==", "ASNFZ4mrze8BI0VniavN7w",
       licence("bW1tbW1tbW1tbW1tbW1tbQ")},
      {"keys.json", "x-keys://two", "eC1rZXlzOi8vdHdv", "eC1rZXlzOi8vdHdv", ""},
  };
  for (const auto& one : cases) {
    const std::string made = R"({"kids":[")" + one.keyID + R"("],"type":"temporary"})";
    out = {{"value", {{"$data", vorlanectl::base64(made.data(), made.size())}}}};
    const Json question = {{"assetID", {{"$data", one.assetID}}},
                           {"requestContext", {{"FCUP_Request_RequestID", 5}}}};
    Json params = Json::object();
    if (!one.answer.empty()) {
      params["FCUP_Response_Data"] = {
          {"$data", vorlanectl::base64(one.answer.data(), one.answer.size())}};
    }
    const std::vector<std::string> calls =
        play({"--serve-keys", root / one.file}, requestFor("key", one.url));
    EXPECT_EQ(calls, (std::vector{"Perform \"requestForStreamingKey\" " + question.dump(),
                                  response(params, one.url, one.answer.empty() ? 404 : 200)}));
  }
}

TEST_F(SenderServiceTest, ReportsUnreadableFilesBeforeTheSessionStarts) {
  write(root / "short.json", R"({"x-keys://one": "6b6b"})");
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"--serve", root / "none"},
        {"--serve-keys", root / "none"},
        {"--serve-keys", root / "secret"},
        {"--serve-keys", root / "short.json"}}) {
    play(options, requestFor("key", "x-keys://one"));
    EXPECT_EQ(status, 2) << errors;
    EXPECT_FALSE(started);
  }
}

}  // namespace
