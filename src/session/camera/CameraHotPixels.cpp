#include "session/camera/CameraHotPixels.h"

#include <utility>
#include <vector>

#include "session/camera/CameraControls.h"
#include "session/darks/FrameCorrections.h"
#include "session/files/SafeFile.h"
#include "session/flash/FlashFailure.h"

namespace orq::session {
namespace {

HotPixelView Seen(const CModelCamera& device, HotPixelMarks marks) {
  return ViewOf(std::move(marks), device.iMaxWidth, device.iMaxHeight);
}

std::vector<std::uint8_t> Encode(const HotPixelView& table, TableFormat format) {
  switch (format) {
    case TableFormat::Csv:
      return EncodeCsv(table);
    case TableFormat::Bmp:
      return EncodeBmp(table);
    case TableFormat::Png:
      break;
  }
  return EncodeMap(table);
}

}  // namespace

void RepairHotPixels(Camera& camera, bool on) {
  const Camera::Turn turn(camera);
  RepairHotPixels(*turn, on);
}

bool RepairsHotPixels(Camera& camera) {
  return Camera::Use(camera)->HPC != 0;
}

HotPixelView ReadHotPixels(Camera& camera) {
  const Camera::FlashTurn turn(camera);
  HotPixelMarks marks;
  DemandDone(*turn, orq::ReadHotPixels(*turn, marks));
  if (marks.empty()) throw Failure(Status::NotFound, "the camera has no hot-pixel table");
  return Seen(*turn, std::move(marks));
}

FoundHotPixels FindHotPixels(Camera& camera, int frames, const std::function<void(const DarkProgress&)>& tell) {
  DemandDarkFrames(frames);
  UseDark(camera, std::nullopt);  // the image in memory will be another one's
  const Camera::Turn turn(camera);
  FoundHotPixels found;
  found.dark = CollectDark(camera, turn, frames, tell);
  found.table = Seen(*turn, HotPixelsOfDark(*turn));
  return found;
}

void SaveHotPixels(const HotPixelView& table, const std::string& path, TableFormat format, Existing existing) {
  WriteFile(path, Encode(table, format), existing);
}

}  // namespace orq::session
