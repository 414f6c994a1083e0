#pragma once

#include <cstddef>
#include <string_view>

#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Collects the header fields of responses, line by line.
class HeaderReader {
 public:
  enum class Result { More, Complete, TooLong };

  explicit HeaderReader(std::size_t mostBytes) : _mostBytes(mostBytes) {}
  Result feed(std::string_view line);
  /// Counts a trailer line, whose fields are ignored. False: the limit is exceeded.
  bool feedTrailer(std::string_view line);
  HeaderFields takeFields();

 private:
  const std::size_t _mostBytes;
  std::size_t _bytes = 0;  // including interim responses
  HeaderFields _fields;
};

void removeField(HeaderFields& fields, std::string_view name);

}  // namespace streaming
