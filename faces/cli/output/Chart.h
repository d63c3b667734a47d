// A chart made of characters.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace orq::cli {

/// The last `columns` of `values`, oldest first, as `rows` lines of text from the top down; the largest and the
/// smallest value stand on the left. A value that is not finite leaves a gap. `rows` from 2. The scale spans half
/// a unit at least, so that noise stays small.
std::vector<std::string> DrawChart(std::span<const double> values, std::size_t columns, std::size_t rows);

}  // namespace orq::cli
