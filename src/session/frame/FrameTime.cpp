#include "session/frame/FrameTime.h"

#include <cmath>

#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {

namespace {

constexpr double kTenthsPerUs = 10.0;

// Angles are known in single precision.
double Rounded(double degrees) {
  return std::round(degrees * 1e6) / 1e6;
}

bool KnowsLines(GpsState state) {
  return state != GpsState::None && state != GpsState::Unreadable;
}

}  // namespace

const char* TimeSource(const FrameInfo& info) {
  if (info.gps.state == GpsState::Predicted) return "PREDICTED";
  return HasGpsTime(info) ? "GPS" : "COMPUTER";
}

std::string FrameUtc(const FrameInfo& info, UtcTenths time) {
  return HasGpsTime(info) ? IsoUtcTenths(time) : IsoUtc(time / kTenthsPerMicrosecond);
}

double ModifiedJulianDate(UtcTenths time) {
  constexpr UtcTenths kTenthsPerDay = 864'000'000'000;
  constexpr std::int64_t kEpoch = 40'587;  // of 1970
  UtcTenths day = time / kTenthsPerDay;
  if (time % kTenthsPerDay < 0) --day;
  const UtcTenths rest = time - day * kTenthsPerDay;
  return static_cast<double>(kEpoch + day) + static_cast<double>(rest) / static_cast<double>(kTenthsPerDay);
}

const char* GpsStateName(GpsState state) {
  switch (state) {
    case GpsState::None:
      return "";
    case GpsState::Fix:
      return "FIX";
    case GpsState::Predicted:
      return "PREDICTED";
    case GpsState::NoFix:
      return "NO FIX";
    case GpsState::NoLatch:
      return "NO LATCH";
    case GpsState::Missed:
      return "MISSED";
    case GpsState::Unsettled:
      return "UNSETTLED";
    case GpsState::Contradictory:
      return "CONTRADICTORY";
    case GpsState::Unreadable:
      return "UNREADABLE";
    case GpsState::Uncertain:
      return "UNCERTAIN";
  }
  return "";
}

NamedValues TimeValues(const FrameInfo& info) {
  NamedValues values = {
      {"start_utc", FrameUtc(info, info.times.begin)},
      {"middle_utc", FrameUtc(info, MiddleOf(info))},
      {"end_utc", FrameUtc(info, info.times.end)},
      {"time_source", Lower(TimeSource(info))},
      {"start_uncertainty", static_cast<double>(info.times.uncertainty) / kTenthsPerUs, "us"},
  };
  if (HasGpsTime(info)) values.push_back({"row_interval", info.times.rowInterval / kTenthsPerUs, "us"});
  return values;
}

NamedValues ClockValues(const std::optional<ClockState>& clock) {
  if (!clock) return {};
  NamedValues values = {{"clock_synchronised", clock->synchronised}};
  if (clock->synchronised) values.push_back({"clock_max_error", clock->maxErrorUs, "us"});
  return values;
}

NamedValues GpsValues(const FrameInfo& info) {
  const FrameGps& gps = info.gps;
  if (gps.state == GpsState::None) return {};
  NamedValues values = {{"gps", Lower(GpsStateName(gps.state))}};
  if (HasGpsTime(info)) {
    values.push_back({"satellites", gps.satellites});
    if (gps.latitude) values.push_back({"latitude", Rounded(*gps.latitude), "deg"});
    if (gps.longitude) values.push_back({"longitude", Rounded(*gps.longitude), "deg"});
    if (gps.altitude) values.push_back({"altitude", *gps.altitude, "m"});
    values.push_back({"gps_start_line_utc", FrameUtc(info, gps.latched.start)});
    values.push_back({"gps_end_line_utc", FrameUtc(info, gps.latched.end)});
  }
  if (KnowsLines(gps.state)) {
    values.push_back({"gps_start_line", gps.latched.startLine});
    values.push_back({"gps_end_line", gps.latched.endLine});
  }
  return values;
}

}  // namespace orq::session
