#include "streaming/transfer/DiskCache.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

namespace streaming {
namespace {

namespace fs = std::filesystem;

constexpr platform::Date kNow{1'700'000'000};  // 2023-11-14 22:13:20 UTC
constexpr platform::Date kLater{kNow.secondsSince1970 + 3600};
const HeaderFields kForADay{{"Content-Type", "video/mp4"}, {"Cache-Control", "max-age=86400"}};

class DiskCacheTest : public testing::Test {
 protected:
  DiskCacheTest() {
    std::string pattern = fs::temp_directory_path() / "vorlane-cache-XXXXXX";
    folder = std::string(mkdtemp(pattern.data())) + "/bodies";
    reopen();
  }
  ~DiskCacheTest() override { fs::remove_all(fs::path(folder).parent_path()); }

  void reopen(platform::Date now = kNow) { cache = DiskCache::open(folder, now, limits); }
  bool keep(const std::string& url, const std::string& body,
            const HeaderFields& headers = kForADay) {
    const auto writer = cache->begin(url, headers, kNow);
    return writer && writer->write(body) && writer->commit();
  }
  std::string kept(const std::string& url, platform::Date now = kLater) {
    const auto reader = cache->find(url, now);
    return reader ? reader->read(0, 1'000'000) : "(nothing)";
  }
  std::size_t fileCount() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
  }

  std::string folder;
  DiskCacheLimits limits{.bytes = 40'000, .ageSeconds = 7'200};
  std::unique_ptr<DiskCache> cache;
};

TEST(DiskCache, ComputesFreshnessFromHeaderFields) {
  const struct {
    HeaderFields headers;
    double seconds;
  } cases[] = {
      {{}, 0},
      {{{"Cache-Control", "max-age=60"}}, 60},
      {{{"cache-control", "public, max-age=60, no-store"}}, 0},
      {{{"Cache-Control", "max-age=nonsense"}}, 0},
      {{{"Cache-Control", "max-age=60"}, {"Vary", "Cookie"}}, 0},
      {{{"Cache-Control", "max-age=60"}, {"Set-Cookie", "a=b"}}, 0},
      {{{"Cache-Control", "max-age=60"}, {"icy-metaint", "8192"}}, 0},
      {{{"Expires", "Tue, 14 Nov 2023 22:14:20 GMT"}}, 60},
      {{{"Expires", "0"}}, 0},
      {{{"Last-Modified", "Tue, 14 Nov 2023 22:03:20 GMT"}}, 60},
      {{{"Last-Modified", "Tue, 14 Nov 2000 22:03:20 GMT"}}, 86400},
  };
  for (const auto& each : cases)
    EXPECT_EQ(freshSeconds(each.headers, kNow), each.seconds)
        << (each.headers.empty() ? "none" : each.headers.front().second);
}

TEST_F(DiskCacheTest, KeepsCompleteBodiesAcrossRestartsUntilTheyAreStale) {
  ASSERT_TRUE(keep("https://host/a?token=secret", "body a"));
  cache->begin("https://host/b", kForADay, kNow)->write("half a body");
  reopen();
  EXPECT_EQ(kept("https://host/a?token=secret"), "body a");
  EXPECT_EQ(cache->find("https://host/a?token=secret", kLater)->headers(), kForADay);
  EXPECT_EQ(cache->find("https://host/a?token=secret", kLater)->read(2, 3), "dy ");
  EXPECT_EQ(kept("https://host/b"), "(nothing)");
  EXPECT_EQ(kept("https://host/a?token=secret", {kNow.secondsSince1970 + 86'401}), "(nothing)");
  EXPECT_EQ(fileCount(), 0U);
}

TEST_F(DiskCacheTest, DeletesTheLeastRecentlyUsedFirst) {
  const std::string body(9'000, 'x');
  for (const char* url : {"a", "b", "c", "d"}) ASSERT_TRUE(keep(url, body));
  EXPECT_EQ(kept("a"), body);
  ASSERT_TRUE(keep("e", body));
  EXPECT_EQ(kept("b"), "(nothing)");
  for (const char* url : {"a", "c", "d", "e"}) EXPECT_EQ(kept(url), body) << url;
  EXPECT_LE(cache->size(), limits.bytes);
  EXPECT_FALSE(keep("f", std::string(10'001, 'x')));
  EXPECT_EQ(fileCount(), 4U);
}

TEST_F(DiskCacheTest, DeletesOnlyOldAndDamagedEntries) {
  ASSERT_TRUE(keep("old", "body"));
  for (const auto& each : fs::directory_iterator(folder))
    fs::last_write_time(each, fs::file_time_type::clock::now() - std::chrono::hours(3));
  const auto now = static_cast<double>(std::time(nullptr));
  std::ofstream(folder + "/" + std::string(64, 'a') + ".part") << "left behind by a crash";
  std::ofstream(folder + "/notes.part") << "of somebody else";
  reopen({now});
  EXPECT_EQ(fileCount(), 1U) << "other files stay";
  fs::remove(folder + "/notes.part");

  ASSERT_TRUE(keep("cut", "body"));
  for (const auto& each : fs::directory_iterator(folder)) fs::resize_file(each, 40);
  EXPECT_EQ(kept("cut"), "(nothing)");
  ASSERT_TRUE(keep("cut", "body again"));
  EXPECT_EQ(kept("cut"), "body again");
}

TEST_F(DiskCacheTest, FailsToOpenWhenTheFolderCannotBeCreated) {
  std::ofstream(folder + "-file") << "in the way";
  EXPECT_EQ(DiskCache::open(folder + "-file/below", kNow, limits), nullptr);
}

}  // namespace
}  // namespace streaming
