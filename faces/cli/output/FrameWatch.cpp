#include "output/FrameWatch.h"

#include <string>
#include <utility>

#include "output/Output.h"
#include "session/frame/Clipping.h"
#include "session/frame/FrameTime.h"
#include "support/Text.h"

namespace orq::cli {

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

void ClippingWatch::Look(Frame& frame) {
  frame.warning = judges_ ? ClippingWarning(frame.bytes, frame.info) : std::string();
  if (frame.warning.empty() || told_) return;
  told_ = true;
  Complain(Format("%s, which is %d (--offset)", frame.warning.c_str(), frame.info.offset));
}

}  // namespace orq::cli
