#include "session/camera/CameraSettings.h"

#include "models/camera/OwnSettings.h"
#include "settings/StoredSettings.h"
#include "settings/XmlStore.h"

namespace orq::session {

std::string UsersSettingsFolder() {
  const std::string folder = UserConfigDirectory();
  if (folder.empty()) throw Failure(Status::File, "there is no place for settings: set HOME or XDG_CONFIG_HOME");
  return folder;
}

std::string SettingsPath() {
  return SettingsFileIn(UsersSettingsFolder());
}

void KeepSettings(Camera& camera) {
  const Camera::Use device(camera);
  if (device->settingsFolder.empty()) device->settingsFolder = UsersSettingsFolder();
  const bool kept = device->SaveSetting() != 0;
  KeepOwnSettings(*device);
  const std::string trouble = TakeXmlTrouble();
  if (!kept) throw Failure(Status::File, trouble.empty() ? "the file refused it" : trouble);
  if (!trouble.empty()) camera.Events().Put(EventKind::Settings, "while keeping the settings: " + trouble);
}

}  // namespace orq::session
