// Product ids that more than one place needs to know.
#pragma once

#include <cstdint>

namespace orq::pid {

inline constexpr std::uint16_t kK1C = 0x1101;
inline constexpr std::uint16_t kX26M = 0x2601;
inline constexpr std::uint16_t kReplay = 0x0F01;

}  // namespace orq::pid
