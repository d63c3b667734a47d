// Rows that are warmer than those around them as a whole, though no pixel of theirs stands out. Any-thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orq {

/// The hot rows of a dark of whole rows of `width` samples, ascending: the mean of a row's middle half lies above
/// that of the rows near it by at least a quarter of a sample's unit, and by more than good rows scatter. More
/// than one row in fifty is a pattern of the dark and no defect: then there are none.
std::vector<std::size_t> FindHotRows(std::span<const std::uint8_t> dark, std::size_t width);

}  // namespace orq
