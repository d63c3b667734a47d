// Cameras: what blocks lets other threads run, and ends with Ctrl-C.
#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <memory>
#include <orqcam/orqcam.hpp>

#include "Bindings.h"
#include "Waiting.h"

namespace py = pybind11;

namespace orq::python {
namespace {

/// Closing a camera waits for its threads, which may wait for the interpreter.
struct CloseWithoutLock {
  void operator()(Camera* camera) const {
    const py::gil_scoped_release others;
    delete camera;
  }
};
using Holder = std::unique_ptr<Camera, CloseWithoutLock>;
using Class = py::class_<Camera, Holder>;
using Alone = py::call_guard<py::gil_scoped_release>;

Holder Open(const std::string& name, int settings, const std::string& settingsFolder, unsigned frameMemoryMb,
            bool resume) {
  auto options = sized<orq_open_options>();
  options.settings = settings;
  options.frame_memory_mb = frameMemoryMb;
  options.resume = resume ? 1 : 0;
  if (settingsFolder.size() >= sizeof options.settings_folder)
    throw InvalidError("the settings folder's name is too long");
  settingsFolder.copy(options.settings_folder, sizeof options.settings_folder - 1);
  const py::gil_scoped_release others;
  return Holder(new Camera(name, options));
}

/// A call of `camera` that takes long; a signal aborts it.
template <class Work>
auto Long(Camera& camera, Work work) {
  return Interruptible([&camera, work] { return work(camera); }, [&camera] { orq_capture_abort(camera.get()); });
}

/// left, top, width, height, bin, format.
using RegionTuple = std::tuple<int, int, int, int, int, int>;

orq_region RegionOf(const RegionTuple& wanted) {
  auto region = sized<orq_region>();
  std::tie(region.start_x, region.start_y, region.width, region.height, region.bin, region.format) = wanted;
  return region;
}

RegionTuple TupleOf(const orq_region& region) {
  return {region.start_x, region.start_y, region.width, region.height, region.bin, region.format};
}

void Label(Camera& camera, int imageType, const std::string& object, const std::string& observer) {
  auto labels = sized<orq_labels>();
  labels.image_type = imageType;
  if (object.size() >= sizeof labels.object || observer.size() >= sizeof labels.observer) {
    throw InvalidError("a label has at most 68 characters");
  }
  object.copy(labels.object, sizeof labels.object - 1);
  observer.copy(labels.observer, sizeof labels.observer - 1);
  camera.labels(labels);
}

orq_dark_info TakeDark(Camera& camera, const std::string& path, int frames, bool overwrite) {
  auto options = sized<orq_dark_options>();
  options.frames = frames;
  options.overwrite = overwrite ? 1 : 0;
  return Long(camera, [path, options](Camera& device) { return device.takeDark(path, options); });
}

void BindCapture(Class& camera) {
  camera
      .def(
          "start_exposure",
          [](Camera& device, std::uint64_t us) { device.startExposure(std::chrono::microseconds(us)); }, Alone())
      .def("progress", &Camera::progress, Alone())
      .def(
          "start_video", [](Camera& device) { detail::check(orq_video_start(device.get())); }, Alone())
      .def(
          "stop_video", [](Camera& device) { detail::check(orq_video_stop(device.get())); }, Alone())
      .def("abort", &Camera::abort, Alone())
      .def("wait",
           [](Camera& device, std::optional<double> seconds) {
             return AwaitFrame([&](std::chrono::nanoseconds slice) { return device.wait(slice); }, seconds);
           })
      .def("reader", &Camera::reader, Alone())
      .def(
          "get_region", [](Camera& device) { return TupleOf(device.region()); }, Alone())
      .def(
          "fit_region",
          [](Camera& device, const RegionTuple& wanted) { return TupleOf(device.fit(RegionOf(wanted))); }, Alone())
      .def(
          "set_region",
          [](Camera& device, const RegionTuple& wanted) { return TupleOf(device.region(RegionOf(wanted))); },
          Alone())
      .def("label", &Label, Alone())
      .def("keyword", &Camera::keyword, Alone())
      .def("clear_keywords", &Camera::clearKeywords, Alone())
      .def("apply_profile", &Camera::applyProfile, Alone())
      .def("time_mark", &Camera::timeMark, Alone());
}

void BindControls(Class& camera) {
  camera.def("controls", &Camera::controls, Alone())
      .def(
          "get_control",
          [](Camera& device, int id) {
            std::int64_t value = 0;
            std::int32_t mode = ORQ_MANUAL;
            detail::check(orq_control_get(device.get(), id, &value, &mode));
            return std::pair(value, mode == ORQ_AUTOMATIC);
          },
          Alone())
      .def(
          "set_control", [](Camera& device, int id, std::int64_t value) { device.control(id, value); }, Alone())
      .def(
          "automatic", [](Camera& device, int id) { device.automatic(id); }, Alone())
      .def("automatic_state", &Camera::automaticState, Alone())
      .def("await_settled", [](Camera& camera_, double seconds) {
        Long(camera_, [seconds](Camera& device) { device.awaitSettled(std::chrono::duration<double>(seconds)); });
      });
}

void BindDevices(Class& camera) {
  using Seconds = std::chrono::duration<double>;
  camera.def("temperature", &Camera::temperature, Alone())
      .def("supply_voltage", &Camera::supplyVoltage, Alone())
      .def("cooler", &Camera::cooler, Alone())
      .def("cool", &Camera::cool, Alone())
      .def("cooler_off", &Camera::coolerOff, Alone())
      .def("await_cold",
           [](Camera& camera_, double seconds) {
             Long(camera_, [seconds](Camera& device) { device.awaitCold(Seconds(seconds)); });
           })
      .def("warm_up",
           [](Camera& camera_, double seconds) {
             Long(camera_, [seconds](Camera& device) { device.warmUp(Seconds(seconds)); });
           })
      .def("guide",
           [](Camera& camera_, int direction, int ms) {
             Long(camera_,
                  [direction, ms](Camera& device) { device.guide(direction, std::chrono::milliseconds(ms)); });
           })
      .def("take_dark", &TakeDark)
      .def("use_dark", &Camera::useDark, Alone())
      .def("no_dark", &Camera::noDark, Alone())
      .def("repair_hot_pixels", &Camera::repairHotPixels, Alone())
      .def("save_hot_pixels",
           [](Camera& camera_) { Long(camera_, [](Camera& device) { device.saveHotPixels(); }); })
      .def("trigger_modes", &Camera::triggerModes, Alone())
      .def(
          "get_trigger_mode", [](Camera& device) { return device.triggerMode(); }, Alone())
      .def(
          "set_trigger_mode", [](Camera& device, int mode) { device.triggerMode(mode); }, Alone())
      .def("trigger", &Camera::trigger, Alone())
      .def(
          "get_gps_lines",
          [](Camera& device) {
            const orq_gps_lines lines = device.gpsLines();
            return std::tuple(lines.start, lines.end, lines.follow != 0);
          },
          Alone())
      .def(
          "set_gps_lines",
          [](Camera& device, int start, int end, bool follow) {
            auto lines = sized<orq_gps_lines>();
            lines.start = start;
            lines.end = end;
            lines.follow = follow ? 1 : 0;
            device.gpsLines(lines);
          },
          Alone());
}

}  // namespace

void BindCamera(py::module_& module) {
  Class camera(module, "Camera");
  camera
      .def(py::init(&Open), py::arg("name"), py::arg("settings"), py::arg("settings_folder"),
           py::arg("frame_memory_mb"), py::arg("resume"))
      .def("info", &Camera::info, Alone())
      .def("close", &Camera::close, Alone())
      .def("reopen", &Camera::reopen, Alone())
      .def("event_fd", &Camera::eventDescriptor, Alone())
      .def("next_event", &Camera::nextEvent, Alone())
      .def("unplug", &Camera::unplugVirtual, Alone())
      .def("replug", &Camera::replugVirtual, Alone());
  BindCapture(camera);
  BindControls(camera);
  BindDevices(camera);
}

}  // namespace orq::python
