// Darks, hot pixels, and the flash memory that keeps them. What overwrites flash saves it first, in a folder of
// the caller's choice; without one, in the user's state folder.
#include <pybind11/stl.h>

#include <optional>
#include <orqcam/orqcam.hpp>

#include "CameraClass.h"

namespace orq::python {
namespace {

using Folder = std::optional<std::string>;

const char* NameOf(const Folder& folder) {
  return folder ? folder->c_str() : nullptr;
}

orq_dark_info TakeDark(Camera& camera, const std::string& path, int frames, bool overwrite) {
  auto options = sized<orq_dark_options>();
  options.frames = frames;
  options.overwrite = overwrite ? 1 : 0;
  return Long(camera, [path, options](Camera& device) { return device.takeDark(path, options); });
}

void SaveFlash(Camera& camera, const std::string& path, bool overwrite) {
  Long(camera, [path, overwrite](Camera& device) { device.saveFlash(path, overwrite); });
}

void RestoreFlash(Camera& camera, const std::string& path, bool otherCamera, const Folder& backups) {
  Long(camera, [path, otherCamera, backups](Camera& device) {
    check(orq_flash_restore(device.get(), path.c_str(), otherCamera ? 1 : 0, NameOf(backups), nullptr, nullptr));
  });
}

void SetUserId(Camera& camera, const std::string& id, const Folder& backups) {
  Long(camera, [id, backups](Camera& device) {
    check(orq_user_id_set(device.get(), id.c_str(), NameOf(backups), nullptr, nullptr));
  });
}

void SaveHotPixels(Camera& camera, const Folder& backups) {
  Long(camera,
       [backups](Camera& device) { check(orq_hot_pixels_save(device.get(), NameOf(backups), nullptr, nullptr)); });
}

}  // namespace

void BindCorrections(Class& camera) {
  camera.def("take_dark", &TakeDark)
      .def("use_dark", &Camera::useDark, Alone())
      .def("no_dark", &Camera::noDark, Alone())
      .def("repair_hot_pixels", &Camera::repairHotPixels, Alone())
      .def("save_hot_pixels", &SaveHotPixels)
      .def(
          "get_user_id", [](Camera& device) { return device.userId(); }, Alone())
      .def("set_user_id", &SetUserId)
      .def("save_flash", &SaveFlash)
      .def("restore_flash", &RestoreFlash);
}

}  // namespace orq::python
