#include "session/focus/FocusMotor.h"

#include <chrono>

#include "session/LinkFailure.h"
#include "support/Text.h"

namespace orq::session {
namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned short kStatusRegister = 5;  // of the motor's driver
constexpr unsigned char kMovingBit = 0x01;
constexpr std::chrono::seconds kPatience{5};  // a move takes a fraction of a second
constexpr std::chrono::milliseconds kLook{2};

}  // namespace

FocusMotor::FocusMotor(CModelCamera& camera) : camera_(camera), request_(camera.Model().focusMotorRequest) {
  if (request_ == 0) throw Failure(Status::Unsupported, "this camera has no focus motor");
  if (camera.GetDW9800ID(request_, &id_) == 0) throw LinkFailure(camera, "the focus motor does not answer");
}

FocusState FocusMotor::State() {
  FocusState state;
  int mark = 0;
  if (camera_.GetDW9800AFL(request_, &mark) != 0) state.lowerMark = mark;
  if (camera_.GetDW9800AFH(request_, &mark) != 0) state.upperMark = mark;
  if (!state.lowerMark || !state.upperMark) state.lowerMark = state.upperMark = std::nullopt;
  state.position = Position();
  state.moving = Moving();
  state.driverId = id_;
  return state;
}

int FocusMotor::Position() {
  int position = 0;
  if (camera_.GetDW9800POS(request_, &position) == 0)
    throw LinkFailure(camera_, "cannot read the focus motor's position");
  return position;
}

bool FocusMotor::Moving() {
  unsigned char status = 0;
  if (!camera_.SendCMD(request_, kStatusRegister, 0, true, &status, 1))
    throw LinkFailure(camera_, "cannot read the focus motor's status");
  return (status & kMovingBit) != 0;
}

// The order to move is not answered; the position says whether it was taken.
void FocusMotor::MoveTo(int position, const Pause& pause, const std::function<void()>& tell) {
  if (position < 0 || position > kLastFocusPosition)
    throw Failure(Status::Range, Format("the focus motor's positions are 0 to %d", kLastFocusPosition));
  camera_.SetDW9800POS(request_, position);
  if (Position() != position) throw LinkFailure(camera_, Format("the focus motor refused to go to %d", position));
  const auto giveUp = Clock::now() + kPatience;
  while (Moving()) {
    if (tell) tell();
    if (Clock::now() > giveUp) {
      throw Failure(Status::Timeout,
                    Format("the lens still moves %lld s after it was sent to %d; check that nothing blocks it",
                           static_cast<long long>(kPatience.count()), position));
    }
    if (pause(kLook))
      throw Failure(Status::Cancelled, Format("interrupted: the lens is on its way to %d", position));
  }
}

}  // namespace orq::session
