// Cameras: opening, geometry, controls, captures.
#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <orqcam/orqcam.hpp>
#include <utility>

#include "CameraClass.h"

namespace py = pybind11;

namespace orq::python {
namespace {

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
  if (object.size() >= sizeof labels.object || observer.size() >= sizeof labels.observer)
    throw InvalidError("a label has at most 68 characters");
  object.copy(labels.object, sizeof labels.object - 1);
  observer.copy(labels.observer, sizeof labels.observer - 1);
  camera.labels(labels);
}

/// A video that is under way: it ends with this, wherever a signal drops it.
class Running {
 public:
  explicit Running(Camera& camera) : camera_(&camera) { check(orq_video_start(camera.get())); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() {
    if (camera_ != nullptr) orq_video_stop(camera_->get());
  }

  void stop() {
    if (Camera* const camera = std::exchange(camera_, nullptr)) check(orq_video_stop(camera->get()));
  }
  /// It is over: what runs now is another's.
  void forget() { camera_ = nullptr; }

 private:
  Camera* camera_;
};

/// One exposure and its frame. Whatever ends the wait before, the exposure does not go on.
Frame Expose(Camera& camera, std::uint64_t us, std::optional<double> seconds) {
  {
    const py::gil_scoped_release others;
    camera.startExposure(std::chrono::microseconds(us));
  }
  try {
    return AwaitFrame([&](std::chrono::nanoseconds slice) { return camera.wait(slice); }, seconds);
  } catch (...) {
    {
      const py::gil_scoped_release others;
      orq_capture_abort(camera.get());
    }
    throw;
  }
}

void BindCapture(Class& camera, py::module_& module) {
  py::class_<Running, std::unique_ptr<Running, WithoutLock<Running>>>(module, "Running")
      .def("stop", &Running::stop, Alone())
      .def("forget", &Running::forget);
  camera
      .def(
          "start_exposure",
          [](Camera& device, std::uint64_t us) { device.startExposure(std::chrono::microseconds(us)); }, Alone())
      .def("progress", &Camera::progress, Alone())
      .def("expose", &Expose)
      .def(
          "start_video",
          [](Camera& device) { return std::unique_ptr<Running, WithoutLock<Running>>(new Running(device)); },
          Alone(), py::keep_alive<0, 1>())
      .def("abort", &Camera::abort, Alone())
      .def("wait",
           [](Camera& device, std::optional<double> seconds) {
             return AwaitFrame([&](std::chrono::nanoseconds slice) { return device.wait(slice); }, seconds);
           })
      .def("reader", &Camera::reader, Alone())
      .def(
          "get_region", [](Camera& device) { return TupleOf(device.region()); }, Alone())
      .def(
          "fit", [](Camera& device, const RegionTuple& wanted) { return TupleOf(device.fit(RegionOf(wanted))); },
          Alone())
      .def(
          "set_region",
          [](Camera& device, const RegionTuple& wanted) { return TupleOf(device.region(RegionOf(wanted))); },
          Alone())
      .def("label", &Label, Alone())
      .def("keyword", &Camera::keyword, Alone())
      .def("clear_keywords", &Camera::clearKeywords, Alone())
      .def("apply_profile", &Camera::applyProfile, Alone())
      .def("time_mark", &Camera::timeMark, Alone())
      .def("counters", &Camera::counters, Alone())
      .def("bayer", &Camera::bayer, Alone())
      .def("keep_settings", &Camera::keepSettings, Alone());
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
      .def("gain_preset", &Camera::gainPreset, Alone())
      .def("automatic_state", &Camera::automaticState, Alone())
      .def(
          "await_settled",
          [](Camera& camera_, double seconds) {
            Long(
                camera_,
                [seconds](Camera& device) { device.awaitSettled(std::chrono::duration<double>(seconds)); });
          });
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
  BindCapture(camera, module);
  BindControls(camera);
  BindDevices(camera);
  BindCorrections(camera, module);
  BindExpert(camera);
  BindRecordings(camera, module);
}

}  // namespace orq::python
