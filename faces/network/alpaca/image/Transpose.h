// Rows become columns.
#pragma once

#include <cstddef>
#include <cstdint>

#include "alpaca/image/Image.h"

namespace orq::network::alpaca {

/// Writes columns `first` to `first + count` of the image to `to`, each from top to bottom, one after the other.
void writeColumns(const Image& image, std::size_t first, std::size_t count, std::uint8_t* to);

}  // namespace orq::network::alpaca
