// What is kept from one run to the next.
#include "session/camera/CameraSettings.h"

#include "api/Handles.h"
#include "api/Structs.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

orq_status orq_settings_keep(orq_camera* camera) {
  return Guarded([&] { session::KeepSettings(*CameraOf(camera)); });
}

orq_status orq_settings_path(orq_path* path) {
  return Guarded([&] {
    DemandStruct(path, "path");
    orq_path given{};
    CopyText(session::SettingsPath(), given.path);
    GiveStruct(given, path);
  });
}
