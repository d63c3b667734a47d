// The lines at which the GPS takes the time: the region's first and last one, unless a user chose others.
//
// The camera itself remembers which lines a host has set of its own accord, so that a host that is started anew,
// or another one, knows a user's choice from what the last capture left. After power-up both are 0.
#include <array>

#include "link/WireProtocol.h"
#include "models/camera/ModelWorker.h"

namespace orq {
namespace {

constexpr int kStartLine = 0;
constexpr int kEndLine = 1;
constexpr int kNoLine = 0xFFFF;

struct Lines {
  int start = 0;
  int end = 0;
  bool operator==(const Lines&) const = default;
};

bool ReadLines(CCameraBase& camera, Lines& lines) {
  return camera.GPSGetLine(kStartLine, lines.start) == CTRL_OK &&
         camera.GPSGetLine(kEndLine, lines.end) == CTRL_OK;
}

bool ReadFollowed(CCameraBase& camera, Lines& lines) {
  std::array<unsigned char, 4> bytes{};
  for (unsigned short i = 0; i < bytes.size(); ++i)
    if (!camera.ReadFPGAREG(static_cast<unsigned short>(wire::kFpgaGpsFollowed + i), &bytes[i])) return false;
  lines = {bytes[0] + 256 * bytes[1], bytes[2] + 256 * bytes[3]};
  return true;
}

bool WriteFollowed(CCameraBase& camera, const Lines& lines) {
  const int bytes[] = {lines.start, lines.start >> 8, lines.end, lines.end >> 8};
  unsigned short reg = wire::kFpgaGpsFollowed;
  for (const int byte : bytes)
    if (!camera.WriteFPGAREG(reg++, static_cast<unsigned short>(byte & 0xFF))) return false;
  return true;
}

bool SetLines(CCameraBase& camera, const Lines& lines) {
  return WriteFollowed(camera, lines) && camera.GPSSetLine(kStartLine, lines.start) == CTRL_OK &&
         camera.GPSSetLine(kEndLine, lines.end) == CTRL_OK;
}

Lines LinesOf(const FrameRegion& region) {
  return {region.startY, region.startY + region.height * region.bin - 1};
}

}  // namespace

bool CModelCamera::GpsLinesFollow() {
  Lines lines;
  Lines followed;
  return ReadLines(*this, lines) && ReadFollowed(*this, followed) && lines == followed;
}

bool CModelCamera::FollowGpsLines(bool follow) {
  const std::lock_guard lock(worker_->registers);
  return follow ? SetLines(*this, LinesOf(worker_->setup.region)) : WriteFollowed(*this, {kNoLine, kNoLine});
}

// Called with `registers` held. A camera that refuses has no latches; its frames say so.
void CModelCamera::MoveGpsLines() {
  if (model_.gps && GPSCheck() && GpsLinesFollow()) SetLines(*this, LinesOf(worker_->setup.region));
}

}  // namespace orq
