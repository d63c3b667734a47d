// Sums and products of settings that wrap.
#pragma once

#include <cstdint>

namespace orq {

/// The low 32 bits of a result, as a signed number: absurd settings must not be undefined.
constexpr std::int32_t Wrapped(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

}  // namespace orq
