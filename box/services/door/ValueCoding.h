#pragma once

#include <cstddef>

namespace box {

// Property-list values as D-Bus variants:
//
//   string s · boolean b · number i u x t d (n, q and y are read too) · data ay · array av ·
//   dictionary a{sv} · date (d), seconds since 1970-01-01 UTC · null (s) holding "null"
//
// None is an empty `av` where an argument is `av`, and an absent key or element elsewhere. A plain
// `v` has no form for none: an empty `av` in it is an empty array.

/// How many containers may stand inside each other, a parameter dictionary counted as the first.
inline constexpr int kMaximumValueDepth = 32;
/// What the arguments of one message may take.
inline constexpr std::size_t kMaximumMessageBytes = std::size_t{16} << 20;

}  // namespace box
