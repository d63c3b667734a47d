#include "output/FrameWatch.h"

#include <string>
#include <utility>

#include "output/FrameReport.h"
#include "output/Output.h"
#include "session/frame/FrameTime.h"
#include "support/Text.h"

namespace orq::cli {

void GpsWatch::Look(const FrameInfo& info) {
  Look(static_cast<std::int32_t>(info.gps.state), info.gps.predictions.wrong, info.sequence,
       session::GpsTrouble(info));
}

void GpsWatch::Look(const orq_frame_info& info, const orq_frame_gps& gps) {
  Look(gps.state, gps.wrong, info.sequence, GpsTrouble(gps));
}

void GpsWatch::Look(std::int32_t state, std::uint64_t wrong, std::uint32_t sequence, const std::string& trouble) {
  if (state == ORQ_GPS_NONE) return;
  const std::uint64_t before = std::exchange(wrong_, wrong);
  if (wrong > before) {
    Complain(
        Format("the predicted GPS times of %llu frame%s before camera sequence %u were wrong: the camera "
               "did not keep its pace",
               static_cast<unsigned long long>(wrong - before), wrong - before == 1 ? "" : "s", sequence));
  }
  if (state == ORQ_GPS_MISSED) {
    if (!missedTold_) Complain("not all frames have GPS time, but the computer's: " + trouble);
    missedTold_ = true;
    return;
  }
  const bool lost = state != ORQ_GPS_FIX && state != ORQ_GPS_PREDICTED;
  if (lost == lost_) return;
  lost_ = lost;
  Complain(lost ? "frames have the computer's time now, not GPS time: " + trouble : "frames have GPS time again");
}

void WarningWatch::Look(const orq_saved_files& saved, const orq_frame_info& info) {
  if (saved.warning[0] == '\0' || told_) return;
  told_ = true;
  Complain(Format("%s, which is %d (--offset)", saved.warning, info.offset));
}

}  // namespace orq::cli
