// Names and values, as a query or the body of a form has them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orq::network {

/// How names are compared.
enum class Case { exact, ignored };

/// Names and values in the order in which they came.
class Parameters {
 public:
  /// Reads "a=1&b=two+words%21". Nothing where an escape is cut off or no hexadecimal number, or where a zero
  /// character hides in it, so that nobody reads half of what was meant.
  static std::optional<Parameters> parse(std::string_view text);

  /// The value of the first parameter of that name.
  std::optional<std::string> find(std::string_view name, Case names = Case::exact) const;
  const std::vector<std::pair<std::string, std::string>>& all() const { return all_; }

 private:
  std::vector<std::pair<std::string, std::string>> all_;
};

/// `text` with its escapes resolved; `plusIsSpace` as in forms. Nothing as for `Parameters::parse`.
std::optional<std::string> unescape(std::string_view text, bool plusIsSpace);

/// Whether two texts are the same but for the case of ASCII letters.
bool sameButForCase(std::string_view a, std::string_view b);

}  // namespace orq::network
