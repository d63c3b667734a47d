// A frame's times and its GPS reading, as users are shown them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "models/camera/FrameTypes.h"
#include "session/frame/ClockState.h"
#include "session/text/NamedValue.h"

namespace orq::session {

/// Whether the frame's times are GPS times; otherwise they are the computer's.
inline bool HasGpsTime(const FrameInfo& info) {
  return HasGpsTimes(info.gps.state);
}
/// "GPS", "PREDICTED" (from the GPS time of another frame) or "COMPUTER".
const char* TimeSource(const FrameInfo& info);
/// A time of the frame with the decimals that its source is worth.
std::string FrameUtc(const FrameInfo& info, UtcTenths time);
/// The middle of the frame's times.
inline UtcTenths MiddleOf(const FrameInfo& info) {
  return info.times.begin + (info.times.end - info.times.begin) / 2;
}
/// Modified Julian date in UTC. Its double is exact to 0.4 µs in this century.
double ModifiedJulianDate(UtcTenths time);
/// One or two words for files: "FIX", "NO FIX" and so on; empty when the GPS was not asked.
const char* GpsStateName(GpsState state);

/// Start, middle and end of exposure, source and uncertainty.
NamedValues TimeValues(const FrameInfo& info);
/// Whether the computer's clock keeps UTC; nothing where that is not known.
NamedValues ClockValues(const std::optional<ClockState>& clock);
/// Satellites, place and latched lines; only what is known.
NamedValues GpsValues(const FrameInfo& info);

}  // namespace orq::session
