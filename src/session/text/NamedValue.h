// Facts under names of their own, for descriptions and reports.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "support/Text.h"

namespace orq::session {

using PlainValue = std::variant<bool, std::int64_t, double, std::string>;

struct NamedValue {
  std::string name;  ///< lower case, words joined by "_"
  PlainValue value;
  std::string unit = {};  ///< empty: none

  /// For a key without a unit beside it: "pixel_size" and "um" make "pixel_size_um".
  std::string Key() const { return unit.empty() ? name : name + "_" + Lower(unit); }
};
/// In the order in which they are told.
using NamedValues = std::vector<NamedValue>;

}  // namespace orq::session
