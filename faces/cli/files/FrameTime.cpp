#include "files/FrameTime.h"

#include <cmath>
#include <utility>

#include "output/Text.h"
#include "output/Units.h"

namespace orq::cli {

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

std::string GpsTrouble(const FrameInfo& info) {
  switch (info.gps.state) {
    case GpsState::None:
    case GpsState::Fix:
    case GpsState::Predicted:
      return "";
    case GpsState::NoFix:
      return "the receiver has no fix; give its antenna a clear view of the sky";
    case GpsState::NoLatch:
      return Format(
          "the GPS lines %d and %d do not both lie in the region; 'orqcam gps lines --follow' moves them there",
          info.gps.latched.startLine, info.gps.latched.endLine);
    case GpsState::Missed:
      return "the next frame's time had replaced it; take fewer frames per second";
    case GpsState::Unsettled:
      return "the GPS lines or the bandwidth have just been changed";
    case GpsState::Contradictory:
      return "the times of the two GPS lines contradict each other";
    case GpsState::Unreadable:
      return "the camera does not tell it";
    case GpsState::Uncertain:
      return "it is less certain than the computer's; set the GPS lines to the region's first and last one";
  }
  return "";
}

void AddTimes(Report& report, const FrameInfo& info) {
  report.Add("start_utc", FrameUtc(info, info.times.begin));
  report.Add("middle_utc", FrameUtc(info, MiddleOf(info)));
  report.Add("end_utc", FrameUtc(info, info.times.end));
  report.Add("time_source", Lower(TimeSource(info)));
  report.Add("start_uncertainty", static_cast<double>(info.times.uncertainty) / kTenthsPerUs, "us");
  if (HasGpsTime(info)) report.Add("row_interval", info.times.rowInterval / kTenthsPerUs, "us");
}

void AddClock(Report& report, const std::optional<ClockState>& clock) {
  if (!clock) return;
  report.Add("clock_synchronised", clock->synchronised);
  if (clock->synchronised) report.Add("clock_max_error", clock->maxErrorUs, "us");
}

void AddGps(Report& report, const FrameInfo& info) {
  const FrameGps& gps = info.gps;
  if (gps.state == GpsState::None) return;
  report.Add("gps", Lower(GpsStateName(gps.state)));
  if (HasGpsTime(info)) {
    report.Add("satellites", gps.satellites);
    if (gps.latitude) report.Add("latitude", Rounded(*gps.latitude), "deg");
    if (gps.longitude) report.Add("longitude", Rounded(*gps.longitude), "deg");
    if (gps.altitude) report.Add("altitude", *gps.altitude, "m");
    report.Add("gps_start_line_utc", FrameUtc(info, gps.latched.start));
    report.Add("gps_end_line_utc", FrameUtc(info, gps.latched.end));
  }
  if (KnowsLines(gps.state)) {
    report.Add("gps_start_line", gps.latched.startLine);
    report.Add("gps_end_line", gps.latched.endLine);
  }
}

void GpsWatch::Look(const FrameInfo& info) {
  const GpsState state = info.gps.state;
  if (state == GpsState::None) return;
  const std::uint64_t wrong = std::exchange(wrong_, info.gps.predictions.wrong);
  if (wrong_ > wrong) {
    Complain(
        Format("the predicted GPS times of %llu frame%s before camera sequence %u were wrong: the camera "
               "did not keep its pace",
               static_cast<unsigned long long>(wrong_ - wrong), wrong_ - wrong == 1 ? "" : "s", info.sequence));
  }
  if (state == GpsState::Missed) {
    if (!missedTold_) Complain("not all frames have GPS time, but the computer's: " + GpsTrouble(info));
    missedTold_ = true;
    return;
  }
  const bool lost = !HasGpsTime(info);
  if (lost == lost_) return;
  lost_ = lost;
  Complain(lost ? "frames have the computer's time now, not GPS time: " + GpsTrouble(info)
                : "frames have GPS time again");
}

}  // namespace orq::cli
