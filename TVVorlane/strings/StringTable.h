#pragma once

#include <span>
#include <string_view>

namespace TVVorlaneStrings {

struct Entry {
  std::string_view key;
  /// UTF-8. Each sentence is a line; so is a part of a long one that must not be broken inside.
  std::string_view text;
};

/// One language's texts. Every table has every key and no other.
struct Table {
  std::string_view language;  ///< as in a POSIX locale name; Chinese by its script
  std::span<const Entry> entries;
};

extern const Table en;       // English
extern const Table de;       // German
extern const Table fr;       // French
extern const Table es;       // Spanish
extern const Table it;       // Italian
extern const Table nl;       // Dutch
extern const Table pl;       // Polish
extern const Table pt;       // Portuguese
extern const Table ru;       // Russian
extern const Table tr;       // Turkish
extern const Table ar;       // Arabic
extern const Table he;       // Hebrew
extern const Table hi;       // Hindi
extern const Table ja;       // Japanese
extern const Table ko;       // Korean
extern const Table zh_Hans;  // Simplified Chinese
extern const Table zh_Hant;  // Traditional Chinese

/// All of them; English first.
std::span<const Table* const> allTables();

/// The table for a POSIX locale name such as `pt_BR.UTF-8`; English where there is none for it.
const Table& tableForLocale(std::string_view locale);

}  // namespace TVVorlaneStrings
