#include "panels/GpsPanel.h"

#include <indilogger.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace orq::indi {
namespace {

constexpr const char* kTab = "GPS";
constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr const char* kStates[] = {"not asked", "fix",       "predicted",     "no fix",    "no latch",
                                   "missed",    "unsettled", "contradictory", "uncertain", "unreadable"};

/// UTC with nanoseconds; empty: unknown.
std::string utc(std::int64_t unixNs, int digits) {
  if (unixNs == 0) return {};
  const std::time_t seconds = unixNs / kNsPerSecond;
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::string made(text.data(), length);
  if (digits == 0) return made;
  std::array<char, 16> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%09lld", static_cast<long long>(unixNs % kNsPerSecond));
  return made + std::string(fraction.data()).substr(0, static_cast<std::size_t>(digits) + 1);
}

}  // namespace

void GpsPanel::connected(Camera& camera) {
  const orq_camera_info info = camera.info();
  if ((info.abilities & ORQ_ABILITY_GPS) == 0) return;
  camera_ = &camera;
  const char* const name = device_.getDeviceName();
  place_[0].fill("LAT", "Latitude (deg)", "%.7f", -90, 90, 0, 0);
  place_[1].fill("LONG", "Longitude (deg), east of Greenwich", "%.7f", 0, 360, 0, 0);
  place_[2].fill("ELEV", "Altitude (m)", "%.1f", -1000, 20000, 0, 0);
  place_.fill(name, "GEOGRAPHIC_COORD", "Place", kTab, IP_RO, 60, IPS_IDLE);
  time_[0].fill("UTC", "UTC of the last picture", "");
  time_[1].fill("OFFSET", "Offset", "0");
  time_.fill(name, "TIME_UTC", "Time", kTab, IP_RO, 60, IPS_IDLE);
  latch_[0].fill("STATE", "State", kStates[0]);
  latch_[1].fill("START", "First line began", "");
  latch_[2].fill("END", "Second line began", "");
  latch_[3].fill("SATELLITES", "Satellites", "0");
  latch_.fill(name, "ORQ_GPS", "Latch of the last picture", kTab, IP_RO, 60, IPS_IDLE);
  lines_[0].fill("START", "First line", "%.f", 0, info.sensor_height - 1, 1, 0);
  lines_[1].fill("END", "Second line", "%.f", 0, info.sensor_height - 1, 1, 0);
  lines_.fill(name, "ORQ_GPS_LINES", "Time is taken at", kTab, IP_RW, 60, IPS_IDLE);
  follow_[0].fill("REGION", "The region's first and last line", ISS_ON);
  follow_[1].fill("FIXED", "The lines above", ISS_OFF);
  follow_.fill(name, "ORQ_GPS_FOLLOW", "Lines", kTab, IP_RW, ISR_1OFMANY, 60, IPS_IDLE);
  device_.defineProperty(place_);
  device_.defineProperty(time_);
  device_.defineProperty(latch_);
  device_.defineProperty(lines_);
  device_.defineProperty(follow_);
  showLines();
}

void GpsPanel::disconnected() {
  if (camera_ == nullptr) return;
  camera_ = nullptr;
  device_.deleteProperty(place_);
  device_.deleteProperty(time_);
  device_.deleteProperty(latch_);
  device_.deleteProperty(lines_);
  device_.deleteProperty(follow_);
}

void GpsPanel::showLines() {
  const orq_gps_lines lines = camera_->gpsLines();
  lines_[0].setValue(lines.start);
  lines_[1].setValue(lines.end);
  follow_[0].setState(lines.follow != 0 ? ISS_ON : ISS_OFF);
  follow_[1].setState(lines.follow != 0 ? ISS_OFF : ISS_ON);
  lines_.apply();
  follow_.apply();
}

void GpsPanel::apply(const orq_gps_lines& wanted) {
  IPState state = IPS_OK;
  try {
    camera_->gpsLines(wanted);
  } catch (const Error& failure) {
    DEBUGFDEVICE(device_.getDeviceName(), INDI::Logger::DBG_ERROR, "%s", failure.what());
    state = IPS_ALERT;
  }
  lines_.setState(state);
  follow_.setState(state);
  try {
    showLines();
  } catch (const Error&) {
    lines_.apply();
    follow_.apply();
  }
}

bool GpsPanel::set(const NumberRequest& request) {
  if (camera_ == nullptr || request.property != "ORQ_GPS_LINES") return false;
  orq_gps_lines wanted = sized<orq_gps_lines>();
  wanted.start = static_cast<std::int32_t>(lines_[0].getValue());
  wanted.end = static_cast<std::int32_t>(lines_[1].getValue());
  for (const auto& [element, value] : request.values)
    (element == "START" ? wanted.start : wanted.end) = static_cast<std::int32_t>(std::lround(value));
  apply(wanted);
  return true;
}

bool GpsPanel::set(const SwitchRequest& request) {
  if (camera_ == nullptr || request.property != "ORQ_GPS_FOLLOW") return false;
  orq_gps_lines wanted = sized<orq_gps_lines>();
  wanted.follow = request.chosen() == "REGION" ? 1 : 0;
  wanted.start = static_cast<std::int32_t>(lines_[0].getValue());
  wanted.end = static_cast<std::int32_t>(lines_[1].getValue());
  apply(wanted);
  return true;
}

void GpsPanel::frame(const Frame& frame) {
  if (camera_ == nullptr) return;
  const orq_frame_gps gps = frame.gps();
  const bool known = gps.state >= 0 && gps.state < static_cast<int>(std::size(kStates));
  const bool timed = gps.state == ORQ_GPS_FIX || gps.state == ORQ_GPS_PREDICTED;
  latch_[0].setText(known ? kStates[gps.state] : "unknown");
  latch_[1].setText(utc(gps.start_unix_ns, 9).c_str());
  latch_[2].setText(utc(gps.end_unix_ns, 9).c_str());
  latch_[3].setText(std::to_string(gps.satellites).c_str());
  latch_.setState(timed ? IPS_OK : IPS_ALERT);
  latch_.apply();
  if (!timed) return;
  time_[0].setText(utc(frame.info().time_unix_ns, 0).c_str());
  time_.setState(IPS_OK);
  time_.apply();
  if (std::isnan(gps.latitude) || std::isnan(gps.longitude)) return;
  place_[0].setValue(gps.latitude);
  place_[1].setValue(gps.longitude < 0 ? gps.longitude + 360 : gps.longitude);
  if (!std::isnan(gps.altitude_m)) place_[2].setValue(gps.altitude_m);
  place_.setState(IPS_OK);
  place_.apply();
}

}  // namespace orq::indi
