// The two forms in which the FPGA keeps a latched GPS time and position; docs/wire-protocol.md has the bytes.
#pragma once

#include <array>
#include <cstdint>

#include "link/WireProtocol.h"
#include "virtual/gps/GpsFix.h"

namespace orq {

using GpsBlockV0 = std::array<std::uint8_t, wire::kGpsBlockV0Bytes>;
using GpsBlockV1 = std::array<std::uint8_t, wire::kGpsBlockV1Bytes>;

/// The block of version 1: whole seconds of the receiver, and the ticks that the FPGA counted since then at
/// `ticksPerSecond`, cut to whole ones. An altitude that does not fit its five characters is left blank. Marked
/// 'V' and otherwise empty without a fix.
GpsBlockV1 PackGpsV1(const GpsFix& fix, std::uint32_t ticksPerSecond);

/// The block of version 0: milliseconds and tenths of microseconds instead of ticks.
GpsBlockV0 PackGpsV0(const GpsFix& fix);

}  // namespace orq
