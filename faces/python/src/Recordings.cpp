// Videos that are written to a file beside all other readers.
#include <algorithm>
#include <memory>
#include <orqcam/orqcam.hpp>

#include "CameraClass.h"

namespace py = pybind11;

namespace orq::python {
namespace {

/// A recording waits for its disk when it is given up.
struct FinishWithoutLock {
  void operator()(Recording* recording) const {
    const py::gil_scoped_release others;
    delete recording;
  }
};
using RecordingHolder = std::unique_ptr<Recording, FinishWithoutLock>;

RecordingHolder Record(Camera& camera, const std::string& path, std::uint64_t frames, double seconds,
                       std::uint64_t bytes, bool overwrite) {
  constexpr double kLongest = 1e9;  // thirty years
  auto options = sized<orq_recording_options>();
  options.overwrite = overwrite ? 1 : 0;
  options.frames = frames;
  options.duration_us = static_cast<std::uint64_t>(std::clamp(seconds, 0.0, kLongest) * 1e6);
  options.bytes = bytes;
  const py::gil_scoped_release others;
  return RecordingHolder(new Recording(camera.record(path, options)));
}

/// Whether it has ended by then; a signal ends the wait.
bool Await(Recording& recording, double seconds) {
  using Clock = std::chrono::steady_clock;
  const auto end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  for (;;) {
    const auto left = end - Clock::now();
    try {
      const py::gil_scoped_release others;
      recording.wait(std::clamp<std::chrono::nanoseconds>(left, std::chrono::nanoseconds(0), kSlice));
      return true;
    } catch (const TimeoutError&) {
      if (left <= kSlice) return false;
    }
    DemandNoSignal();
  }
}

}  // namespace

void BindRecordings(Class& camera, py::module_& module) {
  py::class_<orq_recording_state>(module, "RecordingState")
      .def_readonly("end", &orq_recording_state::end)
      .def_readonly("frames", &orq_recording_state::frames)
      .def_readonly("missed", &orq_recording_state::missed)
      .def_readonly("lost", &orq_recording_state::lost)
      .def_readonly("waiting", &orq_recording_state::waiting)
      .def_readonly("bytes", &orq_recording_state::bytes)
      .def_readonly("seconds", &orq_recording_state::seconds)
      .def_property_readonly("trouble", [](const orq_recording_state& state) { return Text(state.trouble); });
  py::class_<Recording, RecordingHolder>(module, "Recording")
      .def("stop", &Recording::stop, Alone())
      .def("wait", &Await)
      .def("state", &Recording::state, Alone());
  camera.def("record", &Record);
}

}  // namespace orq::python
