// The GPS block of version 0: the receiver's characters, four to a word with the bytes of each word reversed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "gps/GpsTypes.h"

namespace orq {

inline constexpr std::size_t kGpsV0Bytes = 56;
/// The block's last bytes: altitude and satellites.
inline constexpr std::size_t kGpsV0AltitudeAt = 48;

/// Decodes a block; false (and `out` untouched) when it is not marked valid. Nothing else is checked; groups that
/// are no digits count as 0. `TimeText` and `PositionText` stay as they were.
bool DecodeGpsV0(std::span<const std::uint8_t, kGpsV0Bytes> block, _ORQ_GPS_DATA& out);

}  // namespace orq
