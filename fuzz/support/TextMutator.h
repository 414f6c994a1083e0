#pragma once

#include <span>
#include <string>
#include <string_view>

#include "fuzz/support/Random.h"

namespace fuzz {

/// What a text format consists of.
struct TextGrammar {
  enum class Tokens {
    Lines,   ///< a token is a line
    Markup,  ///< a token is a tag, or the text between two tags
  };
  Tokens tokens = Tokens::Lines;
  /// Whole tokens. In them `%n` stands for a number, `%w` for one of `words`.
  std::span<const std::string_view> pieces;
  std::span<const std::string_view> words;
};

/// Changes a text: adds, drops, repeats, moves and nests tokens, and replaces numbers and quoted
/// values. Numbers are often those at which integer and floating point types end.
void mutateText(std::string& text, Random& random, const TextGrammar& grammar);

/// A number as text.
std::string randomNumber(Random& random);

}  // namespace fuzz
