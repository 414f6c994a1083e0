#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace box {

/// How the URLs of the segments of a representation tell what time they are of.
struct SegmentRule {
  /// So many segments of the same duration one after the other.
  struct Run {
    std::uint64_t time = 0;
    std::uint64_t duration = 0;
    std::uint64_t count = 0;
  };
  enum class Form {
    Number,  ///< a number is in the URL
    Time,    ///< its time is
    List,    ///< each has a URL of its own
    Whole,   ///< all of it is one resource
  };
  struct Place {
    double start = 0;  ///< seconds
    double duration = 0;
  };

  Form form = Form::Number;
  std::string variant;  ///< the representation's identifier
  std::string before;   ///< what comes before the number in the URL; or all of it
  std::string behind;   ///< what comes behind it
  std::map<std::string, std::uint64_t, std::less<>> urls;  ///< of a list, with their numbers
  std::uint64_t firstNumber = 1;
  double timescale = 1;                          ///< units a second
  double offset = 0;                             ///< seconds to add
  std::shared_ptr<const std::vector<Run>> runs;  ///< none for a whole
  double duration = 0;                           ///< seconds, of a whole; 0: unknown

  /// Nothing for a URL of another's.
  std::optional<Place> placeOf(const std::string& url) const;

 private:
  std::optional<Place> _placeOfNumber(std::uint64_t number) const;
};

}  // namespace box
