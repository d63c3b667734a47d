#include "output/FrameWatch.h"

#include <string>
#include <utility>

#include "output/Output.h"
#include "output/frames/FrameReport.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

bool HasGpsTime(const orq_frame_gps& gps) {
  return gps.state == ORQ_GPS_FIX || gps.state == ORQ_GPS_PREDICTED;
}

}  // namespace

void GpsWatch::Look(const orq_frame_info& info, const orq_frame_gps& gps) {
  if (gps.state == ORQ_GPS_NONE) return;
  const std::uint64_t before = std::exchange(wrong_, gps.wrong);
  if (wrong_ > before) {
    Complain(
        Format("the predicted GPS times of %llu frame%s before camera sequence %u were wrong: the camera "
               "did not keep its pace",
               static_cast<unsigned long long>(wrong_ - before), wrong_ - before == 1 ? "" : "s", info.sequence));
  }
  if (gps.state == ORQ_GPS_MISSED) {
    if (!missedTold_) Complain("not all frames have GPS time, but the computer's: " + GpsTrouble(gps));
    missedTold_ = true;
    return;
  }
  const bool lost = !HasGpsTime(gps);
  if (lost == lost_) return;
  lost_ = lost;
  Complain(lost ? "frames have the computer's time now, not GPS time: " + GpsTrouble(gps)
                : "frames have GPS time again");
}

void WarningWatch::Look(const orq_saved_files& saved, const orq_frame_info& info) {
  if (saved.warning[0] == '\0' || told_) return;
  told_ = true;
  Complain(Format("%s, which is %d (--offset)", saved.warning, info.offset));
}

}  // namespace orq::cli
