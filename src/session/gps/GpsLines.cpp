#include "session/gps/GpsLines.h"

#include <algorithm>

#include "session/LinkFailure.h"
#include "support/Text.h"

namespace orq::session {

namespace {

enum Which { kStart = 0, kEnd = 1 };

bool OnSensor(const CCameraBase& camera, int line) {
  return line >= 0 && line < camera.iMaxHeight;
}

}  // namespace

void DemandGps(CModelCamera& camera) {
  if (camera.GPSCheck()) return;
  if (camera.DeviceLost()) throw LinkFailure(camera, "cannot ask the camera");
  throw Failure(Status::Unsupported, "this camera has no GPS receiver");
}

void DemandGpsTimes(CModelCamera& camera) {
  DemandGps(camera);
  const std::optional<GpsLines> lines = ReadGpsLines(camera);
  if (!lines) throw LinkFailure(camera, "cannot read the GPS lines");
  const FrameRegion region = camera.Region();
  const int last = region.startY + region.height * region.bin - 1;
  const auto [top, bottom] = std::minmax(lines->start, lines->end);
  if (top >= region.startY && bottom <= last) return;
  throw Failure(Status::State,
                Format("no frame can have GPS time: its lines %d and %d do not both lie in the region, "
                       "lines %d to %d; choose others, or let them follow the region",
                       lines->start, lines->end, region.startY, last));
}

std::optional<GpsLines> ReadGpsLines(CCameraBase& camera) {
  GpsLines lines;
  const bool read =
      camera.GPSGetLine(kStart, lines.start) == CTRL_OK && camera.GPSGetLine(kEnd, lines.end) == CTRL_OK;
  return read ? std::optional(lines) : std::nullopt;
}

int SetGpsLines(CCameraBase& camera, const GpsLines& wanted, std::string& left) {
  left.clear();
  if (!OnSensor(camera, wanted.start) || !OnSensor(camera, wanted.end)) return CTRL_BAD_LINE;
  const std::optional<GpsLines> before = ReadGpsLines(camera);
  if (!before) {
    left = "they are as they were, but cannot be read";
    return CTRL_REG_FAILED;
  }
  int result = camera.GPSSetLine(kStart, wanted.start);
  if (result == CTRL_OK) result = camera.GPSSetLine(kEnd, wanted.end);
  if (result == CTRL_OK) return CTRL_OK;
  // Also the line that was refused: half of its number may have been written.
  camera.GPSSetLine(kStart, before->start);
  camera.GPSSetLine(kEnd, before->end);
  const std::optional<GpsLines> now = ReadGpsLines(camera);
  if (!now)
    left = "what they are now cannot be read";
  else if (*now == *before)
    left = Format("they are %d and %d as before", now->start, now->end);
  else
    left = Format("they are %d and %d now", now->start, now->end);
  return result;
}

}  // namespace orq::session
