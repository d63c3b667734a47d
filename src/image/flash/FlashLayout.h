// Where the camera's SPI flash keeps what belongs to the host.
#pragma once

#include <cstdint>

namespace orq {

inline constexpr std::uint32_t kFlashSectorBytes = 0x10000;  ///< what one erase clears
inline constexpr std::uint32_t kFlashPageBytes = 256;        ///< what one program writes
inline constexpr std::uint32_t kFlashChunkBytes = 2048;      ///< what one request moves

/// The image record: sectors 4, 5 and 6.
inline constexpr std::uint32_t kRecordSector = 4;
inline constexpr std::uint32_t kRecordAddress = kRecordSector * kFlashSectorBytes;
inline constexpr std::uint32_t kRecordAreaBytes = 3 * kFlashSectorBytes;

/// The parameter page: the first page of sector 7.
inline constexpr std::uint32_t kParameterSector = 7;
inline constexpr std::uint32_t kParameterAddress = kParameterSector * kFlashSectorBytes;

}  // namespace orq
