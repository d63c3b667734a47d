// What a span of one row lacks of the three colours, each colour in a plane of its own.
#pragma once

#include <array>
#include <cstdint>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// Columns that are worked on at a time: the planes below stay in the first-level cache and on the stack.
inline constexpr int kSpan = 1024;
struct alignas(64) ColourPlane : std::array<std::uint8_t, kSpan> {};

/// A row's samples with the rows above and below. Reading one column to either side must be possible.
struct MosaicRows {
  const std::uint8_t* above;
  const std::uint8_t* row;
  const std::uint8_t* below;

  MosaicRows operator+(int columns) const { return {above + columns, row + columns, below + columns}; }
};

/// One row's colours: the row's own (red in a red row, blue in a blue one), green, and the other.
struct ColourPlanes {
  ColourPlane own;
  ColourPlane green;
  ColourPlane other;
};

/// Interpolates `count` columns, kSpan at most: a missing colour is the mean of its two or four nearest samples,
/// halves up. `ownSites`: 0xff where the sample itself is of the row's own colour, 0 where it is green, by turns.
/// Any-thread.
void Interpolate(const MosaicRows& rows, const std::uint8_t* ownSites, int count, ColourPlanes& planes,
                 VectorTarget target = BestVectorTarget());

}  // namespace orq
