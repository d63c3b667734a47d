// When the rows of a frame were exposed, from the times latched at two lines of its sensor.
#pragma once

#include <cstdint>
#include <optional>

#include "gps/GpsTypes.h"

namespace orq {

/// UTC in units of 0.1 µs since 1970, without leap seconds.
using UtcTenths = std::int64_t;
inline constexpr UtcTenths kTenthsPerMicrosecond = 10;

/// A decoded time as a number. Milliseconds above 999 count on. Nothing for what calendar or clock do not have; a
/// 60th second is none: this count has no place for it.
std::optional<UtcTenths> ToUtc(const _ORQ_DATE_TIME& time);

/// How the rows of a delivered frame lie on the sensor. A row of the wire is one line, or as many as the FPGA
/// bins.
struct RowOrder {
  int startLine = 0;  ///< first sensor line of the region
  int rows = 0;       ///< delivered
  int hardwareBin = 1;
  int hostBin = 1;          ///< rows of the wire in a delivered one
  bool sameColour = false;  ///< which are two apart then
  bool flipped = false;     ///< the last line comes first
};

/// The earliest and the latest row of the wire that a delivered row is made of.
struct WireRows {
  int first = 0;
  int last = 0;
};
WireRows WireRowsOf(const RowOrder& order, int row);
/// The row of the wire that a sensor line belongs to; nothing when the region does not hold it.
std::optional<int> WireRowAt(const RowOrder& order, int line);

/// From one row of the wire to the next, in 0.1 µs, and how far that may be off.
struct RowPace {
  double interval = 0.0;
  double error = 0.0;
};

/// The starts of exposure of the two lines. Each may be too early by `kLatchError`, never too late.
struct LatchedLines {
  int startLine = 0;
  int endLine = 0;
  UtcTenths start = 0;
  UtcTenths end = 0;
};
/// The offset of a latch is cut to whole µs, its time to 0.1 µs and a tick of the FPGA before that.
inline constexpr UtcTenths kLatchError = 12;

struct RowTimes {
  UtcTenths begin = 0;  ///< start of exposure of the row that was read out first: the earliest instant of all
  UtcTenths end = 0;    ///< end of exposure of the one that was read out last: the latest
  /// From one delivered row to the next, 0.1 µs, on average; below 0 when flipped: `begin` is the last row's then.
  double rowInterval = 0.0;
  UtcTenths uncertainty = 0;  ///< largest error of `begin` and `end`
};

/// Counts rows from the nearer latch, at the pace that the two latches show, or at the nominal one where that is
/// more exact. Nothing when a line lies outside the region or the two times cannot belong to one readout.
std::optional<RowTimes> TimesOfRows(const RowOrder& order, const LatchedLines& latched, const RowPace& nominal,
                                    std::uint64_t exposureUs);

}  // namespace orq
