#pragma once

#include <cstddef>

namespace box {

// Property-list values as D-Bus variants:
//
//   string s · boolean b · number i u x t d (n, q and y are read too) · data ay · array av ·
//   dictionary a{sv} · date (d), seconds since 1970-01-01 UTC · null (s) holding "null"
//
// An absent value is an empty `av` where the argument type is `av`. In dictionaries and arrays it
// is omitted. A plain `v` cannot hold an absent value; an empty `av` in it is an empty array.

/// Maximum nesting of containers. A parameter dictionary counts as the first level.
inline constexpr int kMaximumValueDepth = 32;
/// Maximum size of the arguments of one message.
inline constexpr std::size_t kMaximumMessageBytes = std::size_t{16} << 20;

}  // namespace box
