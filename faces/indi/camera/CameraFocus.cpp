// The focus motor as INDI has focusers, and other calls that take long.
#include <indilogger.h>

#include <utility>

#include "camera/CameraDevice.h"

namespace orq::indi {

namespace {

constexpr std::uint32_t kLastPosition = 1023;

}  // namespace

/// Runs `job` off INDI's thread, and `told` back on it. `what` names work during which exposing has to wait;
/// empty: none.
void CameraDevice::runLong(std::string what, std::function<void(Camera&)> job,
                           std::function<void(bool done)> told) {
  if (!what.empty()) {
    if (exposing_ || pump_->isRunning() || !busyWith_.empty() || isWarmingUp()) {
      LOG_ERROR("The camera is at work: wait for its end, or abort it.");
      return told(false);
    }
    busyWith_ = what;
  }
  longWork_.run([this, what = std::move(what), job = std::move(job), told = std::move(told),
                 poster = posts_.poster(), mine = opened_] {
    std::string trouble;
    try {
      job(*camera_);
    } catch (const Error& failure) {
      trouble = failure.what();
    }
    poster.post([this, what, told, trouble, mine] {
      if (!trouble.empty()) LOGF_ERROR("%s", trouble.c_str());
      if (mine != opened_) return;
      if (!what.empty()) busyWith_.clear();
      told(trouble.empty());
    });
  });
}

void CameraDevice::initFocus() {
  FI::SetCapability(FOCUSER_CAN_ABS_MOVE | FOCUSER_CAN_REL_MOVE | FOCUSER_CAN_ABORT);
  FI::initProperties(FOCUS_TAB);
  FocusAbsPosN[0].min = 0;
  FocusAbsPosN[0].max = kLastPosition;
  FocusAbsPosN[0].step = 1;
  FocusRelPosN[0].min = 0;
  FocusRelPosN[0].max = kLastPosition;
  FocusRelPosN[0].step = 1;
  FocusMaxPosN[0].value = FocusMaxPosN[0].max = kLastPosition;
  FocusMaxPosNP.p = IP_RO;
}

void CameraDevice::showFocus() {
  if (!camera_ || lost_ || !can(ORQ_ABILITY_FOCUS_MOTOR)) return;
  attempt([this] { FocusAbsPosN[0].value = camera_->focus().position; });
}

IPState CameraDevice::MoveAbsFocuser(uint32_t target) {
  if (!camera_ || lost_) return IPS_ALERT;
  runLong(
      {}, [target](Camera& camera) { camera.focus(static_cast<int>(target)); },
      [this](bool done) {
        showFocus();
        FocusAbsPosNP.s = FocusRelPosNP.s = done ? IPS_OK : IPS_ALERT;
        IDSetNumber(&FocusAbsPosNP, nullptr);
        IDSetNumber(&FocusRelPosNP, nullptr);
      });
  return IPS_BUSY;
}

IPState CameraDevice::MoveRelFocuser(FocusDirection direction, uint32_t steps) {
  const double from = FocusAbsPosN[0].value;
  const double to = direction == FOCUS_INWARD ? from - steps : from + steps;
  if (to < 0 || to > kLastPosition) {
    LOGF_ERROR("The focus motor goes from 0 to %u.", kLastPosition);
    return IPS_ALERT;
  }
  return MoveAbsFocuser(static_cast<std::uint32_t>(to));
}

bool CameraDevice::AbortFocuser() {
  return attempt([this] {
    if (exposing_ || pump_->isRunning())
      throw StateError("the motor's way is stopped with the exposure only: abort that");
    camera_->abort();
  });
}

}  // namespace orq::indi
