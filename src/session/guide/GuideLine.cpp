#include "session/guide/GuideLine.h"

#include <array>
#include <chrono>
#include <thread>
#include <utility>

#include "link/WireProtocol.h"
#include "session/Failure.h"
#include "support/DbgPrint.h"

namespace orq::session {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTries = 5;
constexpr std::chrono::milliseconds kBetweenTries{50};
constexpr std::array kNames = {"north", "south", "east", "west"};

bool Switch(CCameraBase& camera, std::uint8_t request, GuideD direction) {
  return camera.SendCMD(request, static_cast<unsigned short>(direction), 0, false, nullptr, 0);
}

Status StatusOf(const CCameraBase& camera) {
  return camera.DeviceLost() ? Status::Lost : Status::Refused;
}

}  // namespace

const char* GuideName(GuideD direction) {
  return kNames.at(static_cast<std::size_t>(direction));
}

GuideLine::GuideLine(CCameraBase& camera, GuideD direction, std::function<void(const std::string&)> warn)
    : camera_(camera), direction_(direction), warn_(std::move(warn)) {
  if (Switch(camera_, wire::kReqGuideOn, direction_)) {
    since_ = Clock::now();
    DbgPrint(-1, "GuideLine", "line %d is on\n", direction_);
    return;
  }
  const std::string refused = std::string("the camera did not switch the guide line ") + GuideName(direction_) +
                              " on: " + camera_.LinkError();
  if (!Off()) throw Failure(StatusOf(camera_), refused + "; " + StillOn());
  throw Failure(Status::Refused, refused);
}

GuideLine::~GuideLine() {
  if (on_ && !Off() && warn_) warn_(StillOn());
}

void GuideLine::SwitchOff() {
  const bool off = Off();
  on_ = false;  // more tries would not help either
  if (!off) throw Failure(StatusOf(camera_), StillOn());
}

bool GuideLine::Off() {
  for (int i = 0; i < kTries; ++i) {
    if (i > 0) std::this_thread::sleep_for(kBetweenTries);
    if (Switch(camera_, wire::kReqGuideOff, direction_)) {
      on_ = false;
      return true;
    }
    if (camera_.DeviceLost()) return false;
  }
  return false;
}

std::string GuideLine::StillOn() const {
  const std::string line = std::string("guide line ") + GuideName(direction_);
  if (camera_.DeviceLost()) {
    return "the camera was lost while its " + line +
           " was on: check that the mount stands still, else stop it by its hand controller and unplug the guide "
           "cable";
  }
  return "the " + line + " could not be switched off and may still be on (" + camera_.LinkError() +
         "): stop the mount by its hand controller, then unplug the guide cable or the camera";
}

GuideOutcome SendGuidePulse(CCameraBase& camera, GuideD direction, int ms, const Pause& pause,
                            const std::function<void(const std::string&)>& warn) {
  if (pause(std::chrono::milliseconds(0))) return {0.0, true};
  const auto before = Clock::now();
  GuideOutcome outcome;
  GuideLine line(camera, direction, warn);
  const auto end = line.Since() + std::chrono::milliseconds(ms);
  for (auto now = Clock::now(); now < end && !outcome.interrupted; now = Clock::now())
    outcome.interrupted = pause(std::chrono::ceil<std::chrono::milliseconds>(end - now));
  line.SwitchOff();
  outcome.ms = std::chrono::duration<double, std::milli>(Clock::now() - before).count();
  return outcome;
}

}  // namespace orq::session
