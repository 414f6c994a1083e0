#include "media/pipeline/SeekShortcut.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using namespace std::string_literals;

// NAL units: nal_ref_idc in the header byte says whether other pictures refer to it.
const std::string kDelimiter = "\x09\xf0";
const std::string kDisposable = "\x01picture";
const std::string kReferred = "\x41picture";
const std::string kKeyPicture = "\x65picture";

std::string withLengths(std::initializer_list<std::string> parts) {
  std::string bytes;
  for (const auto& part : parts) bytes += "\0\0\0"s + static_cast<char>(part.size()) + part;
  return bytes;
}

std::string withCodes(std::initializer_list<std::string> parts) {
  std::string bytes;
  for (const auto& part : parts) bytes += (bytes.empty() ? "\0\0\0\1"s : "\0\0\1"s) + part;
  return bytes;
}

bool isDisposable(const std::string& bytes, guint lengthSize) {
  return media::isDisposableH264(reinterpret_cast<const guint8*>(bytes.data()), bytes.size(),
                                 lengthSize);
}

TEST(SeekShortcut, RecognisesDisposablePictures) {
  const struct {
    const char* what;
    std::initializer_list<std::string> parts;
    bool expected;
  } cases[] = {
      {"disposable", {kDelimiter, kDisposable}, true},
      {"of several slices", {kDisposable, kDisposable}, true},
      {"referred to", {kDelimiter, kReferred}, false},
      {"a key picture", {kKeyPicture}, false},
      {"its second field is referred to", {kDisposable, kReferred}, false},
      {"no picture at all", {kDelimiter}, false},
      {"nothing", {}, false},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    EXPECT_EQ(isDisposable(withLengths(each.parts), 4), each.expected);
    EXPECT_EQ(isDisposable(withCodes(each.parts), 0), each.expected);
  }
}

TEST(SeekShortcut, KeepsUnreadablePictures) {
  const std::string whole = withLengths({kDisposable});
  for (std::size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(isDisposable(whole.substr(0, size), 4)) << size;
  EXPECT_FALSE(isDisposable(whole + "\xff\xff\xff\xff\x01"s, 4));
  EXPECT_FALSE(isDisposable("\0\0\0\0"s, 4));
  EXPECT_FALSE(isDisposable(withCodes({kDisposable, ""}), 0));
}

}  // namespace
