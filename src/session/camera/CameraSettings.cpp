#include "session/camera/CameraSettings.h"

#include "models/camera/OwnSettings.h"
#include "settings/XmlStore.h"

namespace orq::session {

void KeepSettings(Camera& camera) {
  const Camera::Use device(camera);
  if (!camera.HasSettings()) throw Failure(Status::State, "the camera was opened without settings");
  const bool kept = device->SaveSetting() != 0;
  KeepOwnSettings(*device);
  const std::string trouble = TakeXmlTrouble();
  if (!kept) throw Failure(Status::File, trouble.empty() ? "the file refused it" : trouble);
  if (!trouble.empty()) camera.Events().Put(EventKind::Settings, "while keeping the settings: " + trouble);
}

}  // namespace orq::session
