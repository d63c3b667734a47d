// Samples replaced by what a table says.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "support/vectors/VectorTarget.h"

namespace orq {

/// Replaces each sample by its entry of `table`. Any-thread.
void ApplyTable(std::span<std::uint8_t> samples, const std::array<std::uint8_t, 256>& table,
                VectorTarget target = BestVectorTarget());

}  // namespace orq
