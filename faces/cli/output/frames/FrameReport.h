// A frame's times and its GPS reading, as users are shown them.
#pragma once

#include <orqcam/orqcam.hpp>
#include <string>

#include "output/Output.h"

namespace orq::cli {

/// Whether the frame's times are GPS times; otherwise they are the computer's.
bool HasGpsTime(const orq_frame_info& info);
/// "gps", "predicted" (from the GPS time of another frame) or "computer".
const char* TimeSource(const orq_frame_info& info);
/// A time of the frame with the decimals that its source is worth.
std::string FrameUtc(const orq_frame_info& info, std::int64_t unixNs);
/// Why the frame has no GPS time, as the end of a sentence; empty when it has, or the GPS was not asked.
std::string GpsTrouble(const orq_frame_gps& gps);

/// Start, middle and end of exposure, source and uncertainty.
void AddTimes(Report& report, const orq_frame_info& info, const orq_frame_gps& gps);
/// Satellites, place and latched lines; only what is known.
void AddGps(Report& report, const orq_frame_info& info, const orq_frame_gps& gps);

}  // namespace orq::cli
