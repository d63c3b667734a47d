#include "session/camera/OpenTrouble.h"

namespace orq::session {

Status StatusOf(UsbError error) {
  switch (error) {
    case kUsbAccess:
      return Status::Permission;
    case kUsbBusy:
      return Status::Busy;
    case kUsbTimeout:
      return Status::Timeout;
    case kUsbNoMem:
      return Status::Memory;
    default:
      return Status::Refused;
  }
}

std::string OpenTrouble(CModelCamera& camera) {
  std::string why = camera.Port().LastError();
  if (why.empty()) why = camera.LinkError();
  return why.empty() ? "the camera does not answer; unplug it and plug it in again" : why;
}

Failure OpenFailure(CModelCamera& camera, const std::string& name) {
  const std::string who = name.empty() ? "the camera" : "camera '" + name + "'";
  const std::string what = "cannot open " + who + ": " + OpenTrouble(camera);
  const UsbError error = camera.Port().LastErrorCode();
  if (camera.DeviceLost()) return {error == kUsbTimeout ? Status::Timeout : Status::Lost, what};
  if (error == kUsbNoDevice || error == kUsbNotFound) return {Status::NotFound, what};
  return {StatusOf(error), what};
}

NamedCamera FindCamera(std::string_view name, const SettingsChoice& settings) {
  NamedCamera named = name.empty() ? MakeOnlyCamera(settings) : MakeCamera(name, settings);
  if (named.camera) return named;
  throw Failure(named.trouble == NameTrouble::BadName ? Status::Invalid : Status::NotFound, named.error);
}

}  // namespace orq::session
