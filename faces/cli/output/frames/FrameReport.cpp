#include "output/frames/FrameReport.h"

#include <array>
#include <cmath>

#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::int64_t kNsPerTenth = 100;
constexpr std::int64_t kNsPerUs = 1000;

// By ORQ_GPS_...
constexpr std::array kStates = {"",       "fix",       "predicted",     "no fix",    "no latch",
                                "missed", "unsettled", "contradictory", "uncertain", "unreadable"};

// Angles are known in single precision.
double Rounded(double degrees) {
  return std::round(degrees * 1e6) / 1e6;
}

}  // namespace

bool HasGpsTime(const orq_frame_info& info) {
  return info.time_source != ORQ_TIME_COMPUTER;
}

const char* TimeSource(const orq_frame_info& info) {
  constexpr std::array kSources = {"computer", "gps", "predicted"};
  return kSources.at(static_cast<std::size_t>(info.time_source));
}

std::string FrameUtc(const orq_frame_info& info, std::int64_t unixNs) {
  return HasGpsTime(info) ? session::IsoUtcTenths(unixNs / kNsPerTenth) : session::IsoUtc(unixNs / kNsPerUs);
}

std::string GpsTrouble(const orq_frame_gps& gps) {
  switch (gps.state) {
    case ORQ_GPS_NO_FIX:
      return "the receiver has no fix; give its antenna a clear view of the sky";
    case ORQ_GPS_NO_LATCH:
      return Format(
          "the GPS lines %d and %d do not both lie in the region; 'orqcam gps lines --follow' moves them there",
          gps.start_line, gps.end_line);
    case ORQ_GPS_MISSED:
      return "the next frame's time had replaced it; take fewer frames per second";
    case ORQ_GPS_UNSETTLED:
      return "the GPS lines or the bandwidth have just been changed";
    case ORQ_GPS_CONTRADICTORY:
      return "the times of the two GPS lines contradict each other";
    case ORQ_GPS_UNREADABLE:
      return "the camera does not tell it";
    case ORQ_GPS_UNCERTAIN:
      return "it is less certain than the computer's; set the GPS lines to the region's first and last one";
    default:
      return "";
  }
}

void AddTimes(Report& report, const orq_frame_info& info, const orq_frame_gps& gps) {
  // In whole tenths of a microsecond, as the times themselves are.
  const std::int64_t begin = info.time_unix_ns / kNsPerTenth;
  const std::int64_t middle = begin + (info.end_unix_ns / kNsPerTenth - begin) / 2;
  report.Add("start_utc", FrameUtc(info, info.time_unix_ns));
  report.Add("middle_utc", FrameUtc(info, middle * kNsPerTenth));
  report.Add("end_utc", FrameUtc(info, info.end_unix_ns));
  report.Add("time_source", TimeSource(info));
  report.Add("start_uncertainty", static_cast<double>(info.time_uncertainty_ns) / static_cast<double>(kNsPerUs),
             "us");
  if (HasGpsTime(info)) report.Add("row_interval", gps.row_us, "us");
}

void AddGps(Report& report, const orq_frame_info& info, const orq_frame_gps& gps) {
  if (gps.state == ORQ_GPS_NONE) return;
  report.Add("gps", kStates.at(static_cast<std::size_t>(gps.state)));
  if (HasGpsTime(info)) {
    report.Add("satellites", gps.satellites);
    if (!std::isnan(gps.latitude)) report.Add("latitude", Rounded(gps.latitude), "deg");
    if (!std::isnan(gps.longitude)) report.Add("longitude", Rounded(gps.longitude), "deg");
    if (!std::isnan(gps.altitude_m)) report.Add("altitude", gps.altitude_m, "m");
    report.Add("gps_start_line_utc", FrameUtc(info, gps.start_unix_ns));
    report.Add("gps_end_line_utc", FrameUtc(info, gps.end_unix_ns));
  }
  if (gps.state == ORQ_GPS_UNREADABLE) return;
  report.Add("gps_start_line", gps.start_line);
  report.Add("gps_end_line", gps.end_line);
}

}  // namespace orq::cli
