// Darks, hot pixels, and the flash memory that keeps them. What overwrites flash saves it first, in a folder of
// the caller's choice; without one, in the user's state folder.
#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <optional>
#include <orqcam/orqcam.hpp>
#include <tuple>

#include "CameraClass.h"

namespace py = pybind11;

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
  Long(
      camera, [path, overwrite](Camera& device) { device.saveFlash(path, overwrite); });
}

void RestoreFlash(Camera& camera, const std::string& path, bool otherCamera, const Folder& backups) {
  Long(
      camera,
      [path, otherCamera, backups](Camera& device) {
        check(
            orq_flash_restore(device.get(), path.c_str(), otherCamera ? 1 : 0, NameOf(backups), nullptr, nullptr));
      });
}

void SetUserId(Camera& camera, const std::string& id, const Folder& backups) {
  Long(
      camera,
      [id, backups](Camera& device) {
        check(orq_user_id_set(device.get(), id.c_str(), NameOf(backups), nullptr, nullptr));
      });
}

void SaveHotPixels(Camera& camera, const Folder& backups) {
  Long(
      camera,
      [backups](Camera& device) { check(orq_hot_pixels_save(device.get(), NameOf(backups), nullptr, nullptr)); });
}

void BindTable(py::module_& module) {
  py::class_<HotPixels>(module, "HotPixels")
      .def(
          "counts",
          [](const HotPixels& table) {
            const orq_hot_pixel_counts counts = table.counts();
            return std::tuple(counts.width, counts.height, counts.pixels, counts.bad_rows, counts.left_out);
          })
      .def(
          "pixels",
          [](const HotPixels& table) {
            const std::vector<SensorPixel> pixels = table.pixels();
            py::array_t<std::int32_t> places({pixels.size(), std::size_t{2}});
            auto to = places.mutable_unchecked<2>();
            for (std::size_t i = 0; i < pixels.size(); ++i) {
              to(static_cast<py::ssize_t>(i), 0) = pixels[i].x;
              to(static_cast<py::ssize_t>(i), 1) = pixels[i].y;
            }
            return places;
          })
      .def("bad_rows", &HotPixels::badRows)
      .def("save", &HotPixels::save, Alone());
}

}  // namespace

void BindCorrections(Class& camera, py::module_& module) {
  BindTable(module);
  camera.def("take_dark", &TakeDark)
      .def("read_dark", &Camera::readDark, Alone())
      .def("use_dark", &Camera::useDark, Alone())
      .def("no_dark", &Camera::noDark, Alone())
      .def("repair_hot_pixels", &Camera::repairHotPixels, Alone())
      .def("repairs_hot_pixels", &Camera::repairsHotPixels, Alone())
      .def("hot_pixels", &Camera::hotPixels, Alone())
      .def("find_hot_pixels",
           [](Camera& device, int frames) {
             return Long(device, [frames](Camera& camera_) { return camera_.findHotPixels(frames); });
           })
      .def("save_hot_pixels", &SaveHotPixels)
      .def(
          "get_user_id", [](Camera& device) { return device.userId(); }, Alone())
      .def("set_user_id", &SetUserId)
      .def("flash_backup", &Camera::flashBackup, Alone())
      .def("save_flash", &SaveFlash)
      .def("restore_flash", &RestoreFlash);
}

}  // namespace orq::python
