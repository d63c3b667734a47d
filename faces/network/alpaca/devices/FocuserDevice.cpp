#include "alpaca/devices/FocuserDevice.h"

#include <utility>

#include "Log.h"

namespace orq::network::alpaca {
namespace {

constexpr int kLastPosition = 1023;

}  // namespace

FocuserDevice::FocuserDevice(std::shared_ptr<CameraSlot> own) : Device(std::move(own)) {
  addGet(
      "absolute", [](const Call&) { return true; });
  addGet(
      "ismoving", [this](const Call&) { return isMoving(); });
  addGet(
      "maxincrement", [](const Call&) { return kLastPosition; });
  addGet(
      "maxstep", [](const Call&) { return kLastPosition; });
  addGet("position", [this](const Call&) { return camera()->focus().position; });
  addMissing("stepsize");
  addMissing("temperature");
  addGet(
      "tempcomp", [](const Call&) { return false; });
  addGet("tempcompavailable", [](const Call&) { return false; });
  addPut("tempcomp", [](const Call& call) -> std::optional<Json> {
    call.truth("TempComp");
    throw CallError(kNotImplemented, "this motor does not follow the temperature");
  });
  // The lens goes where it was sent: only an abort of all that the camera does would end the wait for it.
  addPut("halt", [](const Call&) -> std::optional<Json> {
    throw CallError(kNotImplemented, "this motor cannot be stopped on its way");
  });
  addPut("move", [this](const Call& call) -> std::optional<Json> {
    move(call.integer("Position"));
    return std::nullopt;
  });
}

std::string FocuserDevice::name() const {
  return std::string(info().model) + " focus motor";
}

std::map<std::string, std::function<Json()>> FocuserDevice::stateValues() {
  return {{"IsMoving", [this] { return isMoving(); }},
          {"Position", [this] { return camera()->focus().position; }}};
}

bool FocuserDevice::isMoving() const {
  return underWay_ || camera()->focus().moving != 0;
}

void FocuserDevice::move(int position) {
  if (position < 0 || position > kLastPosition)
    throw CallError(kInvalidValue, "the motor goes from 0 to " + std::to_string(kLastPosition));
  const std::shared_ptr<Camera> open = camera();
  if (underWay_.exchange(true))
    throw CallError(kInvalidOperation, "the motor is on its way; wait until it is there");
  mover_.run([this, open, position] {
    try {
      open->focus(position);
    } catch (const Error& error) {
      logLine("focus motor " + std::to_string(number()) + ": " + error.what());
    }
    underWay_ = false;
  });
}

}  // namespace orq::network::alpaca
