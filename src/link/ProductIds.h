// Product ids that more than one place needs to know.
#pragma once

#include <cstdint>

namespace orq::pid {

inline constexpr std::uint16_t kK1C = 0x1101;
inline constexpr std::uint16_t kK1M = 0x1102;
inline constexpr std::uint16_t kK2M = 0x1201;
inline constexpr std::uint16_t kX26M = 0x2601;
inline constexpr std::uint16_t kT46C = 0x461E;  ///< GPS; tells the FPGA when it takes single exposures
inline constexpr std::uint16_t kH53M = 0x533E;  ///< high-speed readout, found by a probe
inline constexpr std::uint16_t kB29M = 0x294A;  ///< hardware bin with its own mapping of sensor pixels
inline constexpr std::uint16_t kReplay = 0x0F01;

}  // namespace orq::pid
