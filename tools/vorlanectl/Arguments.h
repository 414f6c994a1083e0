#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vorlanectl {

/// The command line makes no sense. The text is for the user.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Option {
  std::string_view name;   ///< with its dashes
  std::string_view value;  ///< what its value is called in the help; empty: it takes none
  std::string_view help;
};

/// What stands behind a command's name: words, and options, which may stand anywhere. After "--"
/// nothing is an option, and neither is a negative number.
class Arguments {
 public:
  /// Throws UsageError on an unknown option or a missing value.
  Arguments(const std::vector<Option>& options, const std::vector<std::string>& words);

  const std::vector<std::string>& words() const { return _words; }
  bool has(std::string_view option) const { return _values.contains(std::string(option)); }
  /// The last value of an option.
  std::optional<std::string> text(std::string_view option) const;
  /// Every value of an option that may be repeated.
  std::vector<std::string> texts(std::string_view option) const;
  /// Throws UsageError when the value is no number, or not an unsigned 32-bit one.
  std::optional<double> number(std::string_view option) const;
  std::optional<std::uint32_t> count(std::string_view option) const;

 private:
  std::vector<std::string> _words;
  std::map<std::string, std::vector<std::string>> _values;
};

/// Throws UsageError when `text` is no finite number; `what` names it in the message.
double numberOf(const std::string& text, std::string_view what);

}  // namespace vorlanectl
