// Videos that are written to a file beside all other readers, and SER files of any program.
#include <pybind11/stl.h>

#include <algorithm>
#include <memory>
#include <orqcam/orqcam.hpp>
#include <tuple>

#include "CameraClass.h"

namespace py = pybind11;

namespace orq::python {
namespace {

using RecordingHolder = std::unique_ptr<Recording, WithoutLock<Recording>>;

/// Frames, seconds, bytes, overwrite, form, megabytes of the ring.
using How = std::tuple<std::uint64_t, double, std::uint64_t, bool, int, std::uint32_t>;

orq_recording_options OptionsOf(const How& how) {
  constexpr double kLongest = 1e9;  // thirty years
  auto options = sized<orq_recording_options>();
  double seconds = 0.0;
  bool overwrite = false;
  std::tie(options.frames, seconds, options.bytes, overwrite, options.form, options.ring_mb) = how;
  options.overwrite = overwrite ? 1 : 0;
  options.duration_us = static_cast<std::uint64_t>(std::clamp(seconds, 0.0, kLongest) * 1e6);
  return options;
}

RecordingHolder Record(Camera& camera, const std::string& path, const How& how) {
  return RecordingHolder(new Recording(camera.record(path, OptionsOf(how))));
}

orq_recording_plan Plan(Camera& camera, const std::string& path, const How& how) {
  return camera.planRecording(path, OptionsOf(how));
}

std::vector<std::tuple<std::uint64_t, std::uint64_t, int>> Missing(const Recording& recording) {
  std::vector<std::tuple<std::uint64_t, std::uint64_t, int>> gaps;
  for (const orq_missing_frames& gap : recording.missing()) gaps.emplace_back(gap.first, gap.last, gap.cause);
  return gaps;
}

std::string Extract(const std::string& path, std::uint64_t frame, const std::string& to, bool overwrite) {
  auto options = sized<orq_save_options>();
  options.overwrite = overwrite ? 1 : 0;
  return extractSer(path, frame, to, options);
}

std::tuple<bool, std::uint64_t, std::uint64_t> Repair(const std::string& path) {
  const orq_ser_repaired repaired = repairSer(path);
  return {repaired.changed != 0, repaired.frames, repaired.timed};
}

void BindSer(py::module_& module) {
  py::class_<orq_ser_info>(module, "SerInfo")
      .def_property_readonly("colour", [](const orq_ser_info& info) { return Text(info.colour_name); })
      .def_readonly("width", &orq_ser_info::width)
      .def_readonly("height", &orq_ser_info::height)
      .def_readonly("depth", &orq_ser_info::depth)
      .def_readonly("frames", &orq_ser_info::frames)
      .def_readonly("whole_frames", &orq_ser_info::whole_frames)
      .def_readonly("frame_bytes", &orq_ser_info::frame_bytes)
      .def_readonly("bytes", &orq_ser_info::bytes)
      .def_readonly("stamps", &orq_ser_info::stamps)
      .def_readonly("unstamped", &orq_ser_info::unstamped)
      .def_readonly("backwards", &orq_ser_info::backwards)
      .def_readonly("differing", &orq_ser_info::differing)
      .def_readonly("first_unix_ns", &orq_ser_info::first_unix_ns)
      .def_readonly("last_unix_ns", &orq_ser_info::last_unix_ns)
      .def_readonly("header_unix_ns", &orq_ser_info::header_unix_ns)
      .def_readonly("header_frames", &orq_ser_info::header_frames)
      .def_property_readonly("described", [](const orq_ser_info& info) { return info.described != 0; })
      .def_property_readonly("whole", [](const orq_ser_info& info) { return info.whole != 0; })
      .def_property_readonly("observer", [](const orq_ser_info& info) { return Text(info.observer); })
      .def_property_readonly("instrument", [](const orq_ser_info& info) { return Text(info.instrument); })
      .def_property_readonly("telescope", [](const orq_ser_info& info) { return Text(info.telescope); })
      .def_property_readonly("trouble", [](const orq_ser_info& info) { return Text(info.trouble); });
  module.def("ser_info", &serInfo, Alone());
  module.def("ser_repair", &Repair, Alone());
  module.def("ser_extract", &Extract, Alone());
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
      .def_readonly("free_bytes", &orq_recording_state::free_bytes)
      .def_readonly("seconds", &orq_recording_state::seconds)
      .def_readonly("first_unix_ns", &orq_recording_state::first_unix_ns)
      .def_readonly("last_unix_ns", &orq_recording_state::last_unix_ns)
      .def_property_readonly("direct", [](const orq_recording_state& state) { return state.direct != 0; })
      .def_property_readonly("trouble", [](const orq_recording_state& state) { return Text(state.trouble); });
  py::class_<Recording, RecordingHolder>(module, "Recording")
      .def("stop", &Recording::stop, Alone())
      .def("wait", &Await)
      .def("state", &Recording::state, Alone())
      .def("missing", &Missing, Alone());
  py::class_<orq_recording_plan>(module, "RecordingPlan")
      .def_property_readonly("file", [](const orq_recording_plan& plan) { return Text(plan.file); })
      .def_property_readonly("times_file", [](const orq_recording_plan& plan) { return Text(plan.times_file); })
      .def_readonly("width", &orq_recording_plan::width)
      .def_readonly("height", &orq_recording_plan::height)
      .def_readonly("bin", &orq_recording_plan::bin)
      .def_readonly("format", &orq_recording_plan::format)
      .def_readonly("form", &orq_recording_plan::form)
      .def_readonly("frame_bytes", &orq_recording_plan::frame_bytes)
      .def_readonly("ring_frames", &orq_recording_plan::ring_frames)
      .def_readonly("free_bytes", &orq_recording_plan::free_bytes)
      .def_readonly("free_frames", &orq_recording_plan::free_frames);
  camera.def("record", &Record, Alone()).def("plan_recording", &Plan, Alone());
  BindSer(module);
}

}  // namespace orq::python
