// The table of times behind the frames of a cube.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "session/recording/TimesFile.h"
#include "session/recording/cube/CubeFile.h"

namespace orq::session {

/// Appends a frame's row to the table of times.
void AddTimesRow(const RecordedFrame& frame, std::vector<std::uint8_t>& rows);
inline constexpr std::size_t kTimesRowBytes = 84;
/// The extension TIMES of a cube.
std::vector<std::uint8_t> TimesTable(std::span<const std::uint8_t> rows);
/// Its rows from `first` on, counted from 0, `count` at most; nothing when no such table stands behind the frames
/// that the header announces, or it has more rows than they are. A row that tells no time has 0.
std::optional<std::vector<RecordedFrame>> ReadTimesTable(CubeFile& cube, std::uint64_t first = 0,
                                                         std::uint64_t count = UINT64_MAX);
/// Where its time comes from as the table has it: "GPS", "PREDICTED" or "COMPUTER".
std::string SourceInFits(const RecordedFrame& frame);

}  // namespace orq::session
