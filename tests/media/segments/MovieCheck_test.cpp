#include "media/segments/MovieCheck.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

namespace {

using media::MovieCheck;

std::string bigEndian(std::uint32_t value) {
  std::string bytes;
  for (const unsigned shift : {24U, 16U, 8U, 0U})
    bytes.push_back(static_cast<char>(value >> shift & 0xffU));
  return bytes;
}
std::string movieBox(const char* type, const std::string& content, std::uint32_t missing = 0) {
  return bigEndian(static_cast<std::uint32_t>(content.size() + 8) + missing) + type + content;
}
std::string movieTrack(const std::string& content) { return movieBox("trak", content); }
std::string trackHeader(std::uint32_t id) {
  return movieBox(
      "tkhd", bigEndian(0) + bigEndian(0) + bigEndian(0) + bigEndian(id) + std::string(68, '\0'));
}
std::string sizeTable(std::uint32_t count) {
  return movieBox("mdia",
                  movieBox("minf", movieBox("stbl", movieBox("stsz", bigEndian(0) + bigEndian(1) +
                                                                         bigEndian(count)))));
}
/// The flags say that samples have no values of their own.
std::string sampleRun(std::uint32_t count) {
  return movieBox("trun", bigEndian(0) + bigEndian(count));
}
std::string movieFragment(const std::string& runs) {
  return movieBox("moof", movieBox("traf", runs));
}

const std::string kMovie = movieBox("ftyp", "iso5") + movieBox("moov", movieTrack(trackHeader(1)));

struct CheckedMovie {
  const char* name;
  std::string bytes;
  bool isAccepted;
};
void PrintTo(const CheckedMovie& movie, std::ostream* out) { *out << movie.name; }

const CheckedMovie kCheckedMovies[] = {
    {"fragments", kMovie + movieFragment(sampleRun(9)) + movieBox("mdat", "123456789"), true},
    {"other_format",
     std::string("\x1a\x45\xdf\xa3") + "trun" + bigEndian(0) + bigEndian(0xffffffff), true},
    {"letters_in_data", kMovie + movieBox("mdat", sampleRun(0xffffffff)), true},
    {"samples_of_a_run", kMovie + movieFragment(sampleRun(0xffffffff)), false},
    {"samples_of_many_runs", kMovie + movieFragment(sampleRun(40'000) + sampleRun(40'000)), false},
    {"samples_behind_an_empty_run",
     kMovie + movieFragment(movieBox("trun", "") + sampleRun(0xffffff00)), false},
    {"samples_behind_a_box_that_is_too_long",
     kMovie + movieFragment(movieBox("tfhd", "", 5000)) + movieFragment(sampleRun(0xffffffff)),
     false},
    {"samples_of_a_movie", movieBox("moov", movieTrack(trackHeader(1) + sizeTable(0xfffffff))),
     false},
    {"no_track_number", movieBox("moov", movieTrack("")) + movieFragment(sampleRun(1)), false},
    {"negative_track_number",
     movieBox("moov", movieTrack(trackHeader(0xffffffff))) + movieFragment(sampleRun(1)), false},
    {"one_track_without_number",
     movieBox("moov", movieTrack("") + movieTrack(trackHeader(1) + trackHeader(2))) +
         movieFragment(sampleRun(1)),
     false},
    {"number_of_a_box_that_is_too_short",
     movieBox("moov", movieTrack(movieBox("meta", ""))) + movieFragment(sampleRun(1)), false},
    {"samples_in_metadata",
     kMovie + movieBox("meta", bigEndian(0) + sampleRun(0xffffffff)) + movieBox("mdat", "1"),
     false},
    {"samples_in_metadata_of_quicktime",
     kMovie + movieBox("meta", movieBox("hdlr", "") + sampleRun(0xffffffff)), false},
    {"compressed_boxes", movieBox("moov", movieBox("cmov", "1234")), false},
    {"no_track_number_and_no_fragments", movieBox("moov", movieTrack("")) + movieBox("mdat", "1"),
     true},
};

class CheckedMovies : public testing::TestWithParam<CheckedMovie> {};

TEST_P(CheckedMovies, AreAcceptedOrRejectedHoweverTheirBytesArrive) {
  const std::string& bytes = GetParam().bytes;
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (const std::size_t step : {std::size_t{1}, std::size_t{7}, bytes.size()}) {
    MovieCheck check;
    bool isAccepted = true;
    for (std::size_t at = 0; at < bytes.size(); at += step)
      isAccepted = check.accepts(at, {begin + at, std::min(step, bytes.size() - at)}, bytes.size());
    EXPECT_EQ(isAccepted, GetParam().isAccepted) << step;
  }
}

INSTANTIATE_TEST_SUITE_P(All, CheckedMovies, testing::ValuesIn(kCheckedMovies),
                         [](const auto& movie) { return std::string(movie.param.name); });

TEST(MovieCheck, ContinuesWithABoxAfterASeek) {
  const std::string runs = movieFragment(sampleRun(0xffffffff));
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(runs.data()), runs.size());
  MovieCheck check;
  EXPECT_TRUE(check.accepts(4000, bytes.subspan(4), 5000)) << "in the data of a box";
  EXPECT_FALSE(check.accepts(1000, bytes, 5000));
}

TEST(MovieCheck, FindsTheBoxBehindDataAfterASeekIntoThem) {
  const std::string start = kMovie + movieBox("mdat", "0123456789");
  const std::string all = start + movieFragment(sampleRun(0xffffffff));
  const std::span bytes(reinterpret_cast<const std::uint8_t*>(all.data()), all.size());
  MovieCheck check;
  EXPECT_TRUE(check.accepts(0, bytes.first(start.size() - 10), all.size()));
  EXPECT_FALSE(check.accepts(start.size() - 4, bytes.subspan(start.size() - 4), all.size()));
}

}  // namespace
