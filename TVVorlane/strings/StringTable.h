#pragma once

#include <span>
#include <string_view>

namespace TVVorlaneStrings {

struct Entry {
  std::string_view key;
  /// UTF-8. A newline separates two sentences. A sentence of more than about 60 characters may have
  /// one more, between two clauses.
  std::string_view text;
};

/// The texts of one language. Every table has the same keys.
struct Table {
  std::string_view language;  ///< POSIX locale language; Chinese with its script
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

/// All tables, English first.
std::span<const Table* const> allTables();

/// Returns the table for a POSIX locale name such as `pt_BR.UTF-8`, or English.
const Table& tableForLocale(std::string_view locale);

}  // namespace TVVorlaneStrings
