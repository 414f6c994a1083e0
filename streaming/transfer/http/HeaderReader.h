#pragma once

#include <cstddef>
#include <string_view>

#include "streaming/transfer/Transfer.h"

namespace streaming {

/// Collects the header fields of the responses to one request, line by line.
class HeaderReader {
 public:
  enum class Result { More, Complete, TooLong };

  explicit HeaderReader(std::size_t mostBytes) : _mostBytes(mostBytes) {}
  Result feed(std::string_view line);
  /// Of a line behind the body, which says nothing new. False: there are too many.
  bool feedTrailer(std::string_view line);
  /// Of the response that is complete.
  HeaderFields takeFields();

 private:
  const std::size_t _mostBytes;
  std::size_t _bytes = 0;  // of interim responses too
  HeaderFields _fields;
};

void removeField(HeaderFields& fields, std::string_view name);

}  // namespace streaming
