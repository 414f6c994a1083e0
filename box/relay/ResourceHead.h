#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "box/relay/RelayItem.h"

namespace box {

/// What a source says of a body before it comes.
struct ResourceHead {
  int status = 200;
  std::string url;  ///< where it was found in the end
  HeaderFields fields;
  std::optional<std::uint64_t> length;  ///< of the body

  /// The first field of that name; empty: none.
  std::string field(std::string_view name) const;
  void removeField(std::string_view name);
};

/// Gathers the header fields of a server's answers to one request, line by line.
class HeaderReader {
 public:
  enum class Result { More, Complete, TooLong };

  explicit HeaderReader(std::size_t mostBytes) : _mostBytes(mostBytes) {}
  Result feed(std::string_view line);
  /// Of the answer that is complete.
  HeaderFields takeFields();

 private:
  const std::size_t _mostBytes;
  std::size_t _bytes = 0;  // of interim answers too
  HeaderFields _fields;
};

/// Names of header fields have no case.
bool isSameName(std::string_view a, std::string_view b);

}  // namespace box
