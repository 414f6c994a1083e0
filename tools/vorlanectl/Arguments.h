#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vorlanectl {

/// An invalid command line. what() is printed to the user.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Option {
  std::string_view name;   ///< including the dashes
  std::string_view value;  ///< placeholder of its value in the help; empty: no value
  std::string_view help;
};

/// The arguments of a command: words and options in any order. Arguments after "--" and negative
/// numbers are never options.
class Arguments {
 public:
  /// Throws UsageError for an unknown option or a missing value.
  Arguments(const std::vector<Option>& options, const std::vector<std::string>& words);

  const std::vector<std::string>& words() const { return _words; }
  bool has(std::string_view option) const { return _values.contains(std::string(option)); }
  /// The last value if the option is repeated.
  std::optional<std::string> text(std::string_view option) const;
  /// All values of a repeated option.
  std::vector<std::string> texts(std::string_view option) const;
  /// Throw UsageError if the value is not a number, or not an unsigned 32-bit integer.
  std::optional<double> number(std::string_view option) const;
  std::optional<std::uint32_t> count(std::string_view option) const;

 private:
  std::vector<std::string> _words;
  std::map<std::string, std::vector<std::string>> _values;
};

/// Throws UsageError if `text` is not a finite number. The message contains `what`.
double parseNumber(const std::string& text, std::string_view what);

}  // namespace vorlanectl
