#include "streaming/foundation/URL.h"

#include <gtest/gtest.h>

namespace streaming {
namespace {

TEST(URL, ResolvesReferences) {
  const std::string base = "http://a/b/c/d;p?q";
  const struct {
    std::string_view reference;
    std::optional<std::string> expected;
  } cases[] = {
      // RFC 3986, section 5.4, without fragments.
      {"g:h", "g:h"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q"},
      {";x", "http://a/b/c/;x"},
      {".", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../g", "http://a/b/g"},
      {"../..", "http://a/"},
      {"../../g", "http://a/g"},
      {"../../../g", "http://a/g"},
      {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},
      {"./../g", "http://a/b/g"},
      {"g/./h", "http://a/b/c/g/h"},
      {"g/../h", "http://a/b/c/h"},
      {"g?y/../x", "http://a/b/c/g?y/../x"},
      // Common deviations from the standard.
      {"  g  ", "http://a/b/c/g"},
      {"a b.ts", "http://a/b/c/a%20b.ts"},
      {"a%20b.ts", "http://a/b/c/a%20b.ts"},
      {"data:text/plain,x y", "data:text/plain,x y"},
      {"DATA:,x/../y#z", "DATA:,x/../y#z"},
      {"http://b/c/../d", "http://b/d"},
      {"skd://key/1", "skd://key/1"},
      {"", std::nullopt},
      {"a\nb", std::nullopt},
  };
  for (const auto& each : cases) EXPECT_EQ(resolveURL(base, each.reference), each.expected);
  EXPECT_EQ(resolveURL("http://host", "a"), "http://host/a");
  EXPECT_EQ(resolveURL("x-demo:clip.m3u8", "a.ts"), "x-demo:a.ts");
  EXPECT_EQ(resolveURL("x-demo:clip.m3u8", "a/../../b.ts"), "x-demo:/b.ts");
  EXPECT_EQ(resolveURL("not a base", "a"), std::nullopt);
}

TEST(URL, InheritsTheQueryUnlessTheURLHasOne) {
  EXPECT_EQ(withQueryOf("http://a/b?t=1", "http://a/c"), "http://a/c?t=1");
  EXPECT_EQ(withQueryOf("http://a/b?t=1", "http://a/c?x"), "http://a/c?x");
  EXPECT_EQ(withQueryOf("http://a/b", "http://a/c"), "http://a/c");
  EXPECT_EQ(withQueryOf("http://a/b?t=1", "data:,x"), "data:,x");
  EXPECT_EQ(queryParameter("http://a/b?x=1&t=2&t=3", "t"), "2");
  EXPECT_EQ(queryParameter("http://a/b?x=1", "t"), std::nullopt);
}

}  // namespace
}  // namespace streaming
