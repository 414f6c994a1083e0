#include "fuzz/support/TextMutator.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace fuzz {
namespace {

struct TextRange {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t size() const { return end - begin; }
};

constexpr std::string_view kDigits = "0123456789";

/// The token at a random place of the text. Empty at the end of the text.
TextRange randomToken(const std::string& text, Random& random, TextGrammar::Tokens tokens) {
  const std::size_t at = random.below(text.size() + 1);
  TextRange token;
  if (tokens == TextGrammar::Tokens::Lines) {
    const std::size_t before = at == 0 ? text.npos : text.rfind('\n', at - 1);
    token.begin = before == text.npos ? 0 : before + 1;
    const std::size_t after = text.find('\n', token.begin);
    token.end = after == text.npos ? text.size() : after + 1;
    return token;
  }
  const std::size_t before = text.rfind('<', at);
  token.begin = before == text.npos ? 0 : before;
  const std::size_t after = text.find('>', token.begin);
  token.end = after == text.npos ? text.size() : after + 1;
  // The text behind the tag.
  if (random.oneIn(4)) token = {token.end, std::min(text.find('<', token.end), text.size())};
  return token;
}

std::string randomWord(Random& random, const TextGrammar& grammar) {
  if (grammar.words.empty() || random.oneIn(8)) {
    if (random.oneIn(2)) return randomNumber(random);
    std::string word;
    word.resize(random.upToPowerOf2(12), random.oneOf("a./%-\xc3 0\"<,;:$"));
    return word;
  }
  return std::string(random.oneOf(grammar.words));
}

std::string randomPiece(Random& random, const TextGrammar& grammar) {
  if (grammar.pieces.empty()) return {};
  std::string piece;
  const std::string_view pattern = random.oneOf(grammar.pieces);
  for (std::size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] == '%' && at + 1 < pattern.size() && pattern[at + 1] == 'n') {
      piece += randomNumber(random);
      ++at;
    } else if (pattern[at] == '%' && at + 1 < pattern.size() && pattern[at + 1] == 'w') {
      piece += randomWord(random, grammar);
      ++at;
    } else {
      piece += pattern[at];
    }
  }
  if (grammar.tokens == TextGrammar::Tokens::Lines) piece += '\n';
  return piece;
}

void replaceNumber(std::string& text, Random& random) {
  std::size_t begin = text.find_first_of(kDigits, random.below(text.size() + 1));
  if (begin == text.npos) begin = text.find_first_of(kDigits);
  if (begin == text.npos) return;
  while (begin > 0 && kDigits.find(text[begin - 1]) != kDigits.npos) --begin;
  const std::size_t end = std::min(text.find_first_not_of(kDigits, begin), text.size());
  text.replace(begin, end - begin, randomNumber(random));
}

void replaceQuoted(std::string& text, Random& random, const TextGrammar& grammar) {
  const std::size_t open = text.find('"', random.below(text.size() + 1));
  if (open == text.npos) return;
  const std::size_t close = text.find('"', open + 1);
  if (close == text.npos) return;
  text.replace(open + 1, close - open - 1, randomWord(random, grammar));
}

void repeatToken(std::string& text, Random& random, const TextGrammar& grammar) {
  TextRange range = randomToken(text, random, grammar.tokens);
  // Some tokens in sequence.
  for (std::size_t more = random.below(6); more > 0 && range.end < text.size(); --more) {
    const char end = grammar.tokens == TextGrammar::Tokens::Lines ? '\n' : '>';
    const std::size_t next = text.find(end, range.end);
    range.end = next == text.npos ? text.size() : next + 1;
  }
  constexpr std::size_t kMostBytes = std::size_t{1} << 18;
  const std::string token = text.substr(range.begin, range.size());
  if (token.empty()) return;
  const std::size_t times = std::min(random.upToPowerOf2(13), kMostBytes / token.size());
  std::string copies;
  copies.reserve(times * token.size());
  for (std::size_t each = 0; each < times; ++each) copies += token;
  text.insert(range.end, copies);
}

/// Nests an element many times in itself.
void nestToken(std::string& text, Random& random) {
  const TextRange tag = randomToken(text, random, TextGrammar::Tokens::Markup);
  const std::string opening = text.substr(tag.begin, tag.size());
  if (opening.size() < 3 || opening[0] != '<' || opening[1] == '/') return;
  const std::size_t nameEnd = opening.find_first_of(" \t\r\n/>", 1);
  const std::string closing = "</" + opening.substr(1, nameEnd - 1) + ">";
  const std::size_t depth = random.upToPowerOf2(10);
  std::string opened;
  std::string closed;
  for (std::size_t each = 0; each < depth; ++each) {
    opened += opening;
    closed += closing;
  }
  text.insert(tag.end, random.oneIn(4) ? opened : opened + closed);
}

}  // namespace

std::string randomNumber(Random& random) {
  static constexpr std::string_view kNumbers[] = {"0",
                                                  "1",
                                                  "-1",
                                                  "2",
                                                  "10",
                                                  "0.001",
                                                  "127",
                                                  "255",
                                                  "256",
                                                  "65535",
                                                  "65536",
                                                  "2147483647",
                                                  "2147483648",
                                                  "-2147483648",
                                                  "4294967295",
                                                  "4294967296",
                                                  "9007199254740993",
                                                  "9223372036854775807",
                                                  "9223372036854775808",
                                                  "-9223372036854775808",
                                                  "18446744073709551615",
                                                  "18446744073709551616",
                                                  "1e9",
                                                  "1e18",
                                                  "1e19",
                                                  "1e300",
                                                  "1e308",
                                                  "1e-308",
                                                  "1e400",
                                                  "-1e300",
                                                  "nan",
                                                  "inf",
                                                  "-0",
                                                  "00000000000000000000000000000001",
                                                  "0x10",
                                                  "99999999999999999999999999999999",
                                                  "0.1",
                                                  "3.999999999",
                                                  "1000000",
                                                  "1099511627776"};
  if (random.oneIn(2)) return std::string(random.oneOf(kNumbers));
  return std::to_string(random.below(random.upToPowerOf2(40)));
}

void mutateText(std::string& text, Random& random, const TextGrammar& grammar) {
  const TextRange token = randomToken(text, random, grammar.tokens);
  switch (random.below(9)) {
    case 0:
      replaceNumber(text, random);
      break;
    case 1:
      replaceQuoted(text, random, grammar);
      break;
    case 2:
    case 3:
      text.insert(random.oneIn(2) ? token.begin : token.end, randomPiece(random, grammar));
      break;
    case 4:
      text.erase(token.begin, token.size());
      break;
    case 5:
      text.replace(token.begin, token.size(), randomPiece(random, grammar));
      break;
    case 6: {
      const std::string moved = text.substr(token.begin, token.size());
      text.erase(token.begin, token.size());
      text.insert(randomToken(text, random, grammar.tokens).begin, moved);
      break;
    }
    case 7:
      if (random.oneIn(3)) repeatToken(text, random, grammar);
      break;
    case 8:
      if (grammar.tokens == TextGrammar::Tokens::Markup && random.oneIn(4)) nestToken(text, random);
      break;
  }
}

}  // namespace fuzz
