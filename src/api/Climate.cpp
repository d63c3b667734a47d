// Temperatures, the cooler, guide pulses and GPS lines.
#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraControls.h"
#include "support/Text.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr double kTenthsOfMetre = 10.0;

std::string UtcText(const _ORQ_DATE_TIME& time) {
  return Format("%04d-%02d-%02dT%02d:%02d:%02d.%03d%04d", time.Year, time.Month, time.Day, time.Hour, time.Minute,
                time.Second, time.MSecond, time.USecond);
}

// Zero-terminated, or as long as its room.
template <std::size_t kBytes>
std::string_view PlainText(const char (&text)[kBytes]) {
  return {text, ::strnlen(text, kBytes)};
}

}  // namespace

orq_status orq_temperature_get(orq_camera* camera, double* sensor_c) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(sensor_c, "sensor_c");
    *sensor_c = session::Temperature(*opened);
  });
}

orq_status orq_supply_voltage_get(orq_camera* camera, double* volts) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(volts, "volts");
    *volts = session::SupplyVoltage(*opened);
  });
}

orq_status orq_cooler_get(orq_camera* camera, orq_cooler_state* state) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(state, "state");
    const session::CoolerState now = session::Cooling(*opened);
    orq_cooler_state given{};
    given.on = now.on ? 1 : 0;
    given.target_c = now.targetC;
    given.sensor_c = OrUnknown(now.sensorC);
    given.power = now.power;
    given.reach_c = OrUnknown(now.reachC);
    CopyText(now.trouble, given.trouble);
    GiveStruct(given, state);
  });
}

orq_status orq_cooler_set(orq_camera* camera, int32_t on, double target_c, int32_t keep) {
  return Guarded([&] { session::Cool(*CameraOf(camera), on != 0, target_c, keep != 0); });
}

orq_status orq_cooler_wait(orq_camera* camera, double seconds) {
  return Guarded([&] { session::AwaitCold(*CameraOf(camera), Seconds(seconds)); });
}

orq_status orq_cooler_warm_up(orq_camera* camera, double seconds) {
  return Guarded([&] { session::Warm(*CameraOf(camera), Seconds(seconds)); });
}

orq_status orq_guide_pulse(orq_camera* camera, int32_t direction, int32_t milliseconds) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    constexpr GuideD kDirections[] = {GUIDE_NORTH, GUIDE_SOUTH, GUIDE_EAST, GUIDE_WEST};
    if (direction < ORQ_GUIDE_NORTH || direction > ORQ_GUIDE_WEST)
      throw session::Failure(session::Status::Invalid, "direction must be one of ORQ_GUIDE_...");
    session::Guide(*opened, kDirections[direction], milliseconds);
  });
}

orq_status orq_gps_get_receiver(orq_camera* camera, orq_gps_receiver* receiver) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(receiver, "receiver");
    const session::GpsReceiver now = session::ReceiverOf(*opened);
    orq_gps_receiver given{};
    given.version = now.version;
    given.readable = now.readable ? 1 : 0;
    given.fix = now.fix ? 1 : 0;
    if (now.fix) {
      given.start_satellites = now.start.SatelliteNum;
      given.end_satellites = now.end.SatelliteNum;
      given.start_latitude = now.start.Latitude;
      given.start_longitude = now.start.Longitude;
      given.start_altitude_m = now.start.Altitude / kTenthsOfMetre;
      given.end_latitude = now.end.Latitude;
      given.end_longitude = now.end.Longitude;
      given.end_altitude_m = now.end.Altitude / kTenthsOfMetre;
      CopyText(UtcText(now.start.Datetime), given.start_utc);
      CopyText(UtcText(now.end.Datetime), given.end_utc);
      CopyText(PlainText(now.start.PositionText), given.start_position);
      CopyText(PlainText(now.end.PositionText), given.end_position);
    }
    GiveStruct(given, receiver);
  });
}

orq_status orq_gps_check(orq_camera* camera) {
  return Guarded([&] { session::CheckGpsTimes(*CameraOf(camera)); });
}

orq_status orq_gps_get_lines(orq_camera* camera, orq_gps_lines* lines) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(lines, "lines");
    bool follow = false;
    const session::GpsLines now = session::LinesOf(*opened, follow);
    GiveStruct({sizeof *lines, follow ? 1 : 0, now.start, now.end}, lines);
  });
}

orq_status orq_gps_set_lines(orq_camera* camera, const orq_gps_lines* lines) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const orq_gps_lines wanted = TakeStruct(lines, "lines");
    if (wanted.follow != 0)
      session::FollowLines(*opened, true);
    else
      session::SetLines(*opened, {wanted.start, wanted.end});
  });
}
