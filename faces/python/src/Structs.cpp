// What the library tells, as read-only objects.
#include <orqcam/orqcam.hpp>

#include "Bindings.h"

namespace py = pybind11;

namespace orq::python {
namespace {

/// A field that is an array of characters.
template <auto kField, class Struct>
void DefText(py::class_<Struct>& described, const char* name) {
  described.def_property_readonly(
      name, [](const Struct& from) { return Text(from.*kField); });
}

void BindCameraStructs(py::module_& module) {
  py::class_<orq_camera_entry> entry(module, "CameraEntry");
  DefText<&orq_camera_entry::name>(entry, "name");
  DefText<&orq_camera_entry::model>(entry, "model");
  DefText<&orq_camera_entry::serial>(entry, "serial");
  DefText<&orq_camera_entry::user_id>(entry, "user_id");
  DefText<&orq_camera_entry::trouble>(entry, "trouble");
  DefText<&orq_camera_entry::summary>(entry, "summary");
  entry.def_readonly("speed", &orq_camera_entry::speed);

  py::class_<orq_camera_info> info(module, "CameraInfo");
  DefText<&orq_camera_info::model>(info, "model");
  DefText<&orq_camera_info::serial>(info, "serial");
  DefText<&orq_camera_info::user_id>(info, "user_id");
  DefText<&orq_camera_info::firmware>(info, "firmware");
  DefText<&orq_camera_info::key>(info, "key");
  info.def_readonly("speed", &orq_camera_info::speed)
      .def_readonly("sensor_width", &orq_camera_info::sensor_width)
      .def_readonly("sensor_height", &orq_camera_info::sensor_height)
      .def_readonly("pixel_um", &orq_camera_info::pixel_um)
      .def_readonly("adc_bits", &orq_camera_info::adc_bits)
      .def_readonly("bayer", &orq_camera_info::bayer)
      .def_readonly("bins", &orq_camera_info::bins)
      .def_readonly("formats", &orq_camera_info::formats)
      .def_readonly("abilities", &orq_camera_info::abilities)
      .def_readonly("width_step", &orq_camera_info::width_step)
      .def_readonly("height_step", &orq_camera_info::height_step)
      .def_readonly("start_x_step", &orq_camera_info::start_x_step)
      .def_readonly("start_y_step", &orq_camera_info::start_y_step)
      .def_readonly("least_width", &orq_camera_info::least_width)
      .def_readonly("least_height", &orq_camera_info::least_height)
      .def_readonly("electrons_per_adu", &orq_camera_info::electrons_per_adu);

  py::class_<orq_control_info> control(module, "ControlInfo");
  DefText<&orq_control_info::name>(control, "name");
  DefText<&orq_control_info::description>(control, "description");
  DefText<&orq_control_info::unit>(control, "unit");
  control.def_readonly("id", &orq_control_info::id)
      .def_readonly("minimum", &orq_control_info::minimum)
      .def_readonly("maximum", &orq_control_info::maximum)
      .def_readonly("default", &orq_control_info::default_value)
      .def_readonly("scale", &orq_control_info::scale)
      .def_readonly("automatic", &orq_control_info::automatic)
      .def_readonly("writable", &orq_control_info::writable);

  py::class_<orq_gain_preset>(module, "GainPreset")
      .def_readonly("gain", &orq_gain_preset::gain)
      .def_readonly("electrons_per_adu", &orq_gain_preset::electrons_per_adu)
      .def_readonly("most_electrons", &orq_gain_preset::most_electrons);

  py::class_<orq_event> event(module, "Event");
  event.def_readonly("kind", &orq_event::kind);
  DefText<&orq_event::text>(event, "text");
}

void BindWorkStructs(py::module_& module) {
  py::class_<orq_cooler_state> cooler(module, "CoolerState");
  cooler.def_property_readonly("on", [](const orq_cooler_state& state) { return state.on != 0; })
      .def_readonly("target_c", &orq_cooler_state::target_c)
      .def_readonly("sensor_c", &orq_cooler_state::sensor_c)
      .def_readonly("power", &orq_cooler_state::power)
      .def_readonly("reach_c", &orq_cooler_state::reach_c);
  DefText<&orq_cooler_state::trouble>(cooler, "trouble");

  py::class_<orq_focus_state>(module, "FocusState")
      .def_readonly("position", &orq_focus_state::position)
      .def_property_readonly(
          "moving", [](const orq_focus_state& state) { return state.moving != 0; })
      .def_readonly("lower_mark", &orq_focus_state::lower_mark)
      .def_readonly("upper_mark", &orq_focus_state::upper_mark)
      .def_readonly("driver_id", &orq_focus_state::driver_id);

  py::class_<orq_trigger_output>(module, "TriggerOutput")
      .def_property_readonly(
          "active_high", [](const orq_trigger_output& pulse) { return pulse.active_high != 0; })
      .def_readonly("delay_us", &orq_trigger_output::delay_us)
      .def_readonly("length_us", &orq_trigger_output::length_us);

  py::class_<orq_exposure_progress>(module, "ExposureProgress")
      .def_property_readonly("running",
                             [](const orq_exposure_progress& progress) { return progress.running != 0; })
      .def_readonly("elapsed_us", &orq_exposure_progress::elapsed_us)
      .def_readonly("exposure_us", &orq_exposure_progress::exposure_us)
      .def_readonly("limit_us", &orq_exposure_progress::limit_us);

  py::class_<orq_reader_counters>(module, "ReaderCounters")
      .def_readonly("waiting", &orq_reader_counters::waiting)
      .def_readonly("delivered", &orq_reader_counters::delivered)
      .def_readonly("missed", &orq_reader_counters::missed)
      .def_readonly("no_buffer", &orq_reader_counters::no_buffer);

  py::class_<orq_dark_info> dark(module, "DarkInfo");
  DefText<&orq_dark_info::model>(dark, "model");
  DefText<&orq_dark_info::serial>(dark, "serial");
  DefText<&orq_dark_info::trouble>(dark, "trouble");
  dark.def_readonly("frames", &orq_dark_info::frames)
      .def_readonly("exposure_us", &orq_dark_info::exposure_us)
      .def_readonly("taken_unix_ns", &orq_dark_info::taken_unix_ns)
      .def_readonly("gain", &orq_dark_info::gain)
      .def_readonly("offset", &orq_dark_info::offset)
      .def_readonly("sensor_c", &orq_dark_info::sensor_c)
      .def_readonly("average", &orq_dark_info::average)
      .def_readonly("hot_pixels", &orq_dark_info::hot_pixels)
      .def_readonly("bad_rows", &orq_dark_info::bad_rows)
      .def_readonly("readout_mode", &orq_dark_info::readout_mode);

  py::class_<orq_automatic_state>(module, "AutomaticState")
      .def_readonly("mean", &orq_automatic_state::mean)
      .def_readonly("target", &orq_automatic_state::target)
      .def_readonly("gain", &orq_automatic_state::gain)
      .def_readonly("exposure_us", &orq_automatic_state::exposure_us)
      .def_readonly("wb_r", &orq_automatic_state::wb_r)
      .def_readonly("wb_b", &orq_automatic_state::wb_b)
      .def_property_readonly("settled", [](const orq_automatic_state& state) { return state.settled != 0; })
      .def_property_readonly("on_target", [](const orq_automatic_state& state) { return state.on_target != 0; });
}

void BindTimeStructs(py::module_& module) {
  py::class_<orq_clock_state>(module, "ClockState")
      .def_readonly("synchronised", &orq_clock_state::synchronised)
      .def_readonly("max_error_us", &orq_clock_state::max_error_us);

  py::class_<orq_gps_receiver> receiver(module, "GpsReceiver");
  receiver.def_readonly("version", &orq_gps_receiver::version)
      .def_property_readonly("readable", [](const orq_gps_receiver& gps) { return gps.readable != 0; })
      .def_property_readonly("fix", [](const orq_gps_receiver& gps) { return gps.fix != 0; })
      .def_readonly("start_satellites", &orq_gps_receiver::start_satellites)
      .def_readonly("end_satellites", &orq_gps_receiver::end_satellites)
      .def_readonly("start_latitude", &orq_gps_receiver::start_latitude)
      .def_readonly("start_longitude", &orq_gps_receiver::start_longitude)
      .def_readonly("start_altitude_m", &orq_gps_receiver::start_altitude_m)
      .def_readonly("end_latitude", &orq_gps_receiver::end_latitude)
      .def_readonly("end_longitude", &orq_gps_receiver::end_longitude)
      .def_readonly("end_altitude_m", &orq_gps_receiver::end_altitude_m);
  DefText<&orq_gps_receiver::start_utc>(receiver, "start_utc");
  DefText<&orq_gps_receiver::end_utc>(receiver, "end_utc");
  DefText<&orq_gps_receiver::start_position>(receiver, "start_position");
  DefText<&orq_gps_receiver::end_position>(receiver, "end_position");
}

void BindStreamStructs(py::module_& module) {
  using Counters = orq_stream_counters;
  py::class_<Counters>(module, "StreamCounters")
      .def_readonly("started", &Counters::started)
      .def_readonly("completed", &Counters::completed)
      .def_readonly("failed", &Counters::failed)
      .def_readonly("stale", &Counters::stale)
      .def_readonly("dropped", &Counters::dropped)
      .def_readonly("aborted", &Counters::aborted)
      .def_readonly("filling", &Counters::filling)
      .def_readonly("failed_short", &Counters::failed_short)
      .def_readonly("failed_oversize", &Counters::failed_oversize)
      .def_readonly("failed_marks", &Counters::failed_marks)
      .def_readonly("failed_sequence", &Counters::failed_sequence)
      .def_readonly("failed_stalled", &Counters::failed_stalled)
      .def_readonly("failed_transport", &Counters::failed_transport)
      .def_readonly("failed_timed_out", &Counters::failed_timed_out)
      .def_readonly("lost", &Counters::lost)
      .def_readonly("overwritten", &Counters::overwritten)
      .def_readonly("bytes", &Counters::bytes)
      .def_readonly("bytes_discarded", &Counters::bytes_discarded)
      .def_readonly("submit_retries", &Counters::submit_retries)
      .def_readonly("halts_cleared", &Counters::halts_cleared)
      .def_readonly("resyncs", &Counters::resyncs)
      .def_readonly("in_flight", &Counters::in_flight)
      .def_readonly("in_flight_max", &Counters::in_flight_max)
      .def_readonly("longest_gap_us", &Counters::longest_gap_us);
}

void BindFrameStructs(py::module_& module) {
  py::class_<orq_frame_info>(module, "FrameInfo")
      .def_readonly("sequence", &orq_frame_info::sequence)
      .def_readonly("start_x", &orq_frame_info::start_x)
      .def_readonly("start_y", &orq_frame_info::start_y)
      .def_readonly("width", &orq_frame_info::width)
      .def_readonly("height", &orq_frame_info::height)
      .def_readonly("bin", &orq_frame_info::bin)
      .def_readonly("format", &orq_frame_info::format)
      .def_readonly("bayer", &orq_frame_info::bayer)
      .def_readonly("bytes_per_pixel", &orq_frame_info::bytes_per_pixel)
      .def_readonly("exposure_us", &orq_frame_info::exposure_us)
      .def_readonly("time_unix_ns", &orq_frame_info::time_unix_ns)
      .def_readonly("end_unix_ns", &orq_frame_info::end_unix_ns)
      .def_readonly("time_uncertainty_ns", &orq_frame_info::time_uncertainty_ns)
      .def_readonly("time_source", &orq_frame_info::time_source)
      .def_readonly("gain", &orq_frame_info::gain)
      .def_readonly("offset", &orq_frame_info::offset)
      .def_readonly("flips", &orq_frame_info::flips)
      .def_readonly("electrons_per_adu", &orq_frame_info::electrons_per_adu)
      .def_readonly("number", &orq_frame_info::number)
      .def_readonly("sensor_c", &orq_frame_info::sensor_c)
      .def_readonly("target_c", &orq_frame_info::target_c)
      .def_readonly("cooler_power", &orq_frame_info::cooler_power)
      .def_readonly("gamma", &orq_frame_info::gamma)
      .def_readonly("corrections", &orq_frame_info::corrections)
      .def_readonly("readout_mode", &orq_frame_info::readout_mode)
      .def_readonly("black_level", &orq_frame_info::black_level)
      .def_readonly("saturated", &orq_frame_info::saturated)
      .def_readonly("real_exposure_ms", &orq_frame_info::real_exposure_ms)
      .def_property_readonly("after_gap", [](const orq_frame_info& info) { return info.after_gap != 0; });

  py::class_<orq_frame_gps>(module, "FrameGps")
      .def_readonly("state", &orq_frame_gps::state)
      .def_readonly("satellites", &orq_frame_gps::satellites)
      .def_readonly("start_line", &orq_frame_gps::start_line)
      .def_readonly("end_line", &orq_frame_gps::end_line)
      .def_readonly("start_unix_ns", &orq_frame_gps::start_unix_ns)
      .def_readonly("end_unix_ns", &orq_frame_gps::end_unix_ns)
      .def_readonly("row_ns", &orq_frame_gps::row_ns)
      .def_readonly("row_us", &orq_frame_gps::row_us)
      .def_readonly("predicted", &orq_frame_gps::predicted)
      .def_readonly("confirmed", &orq_frame_gps::confirmed)
      .def_readonly("wrong", &orq_frame_gps::wrong)
      .def_readonly("latitude", &orq_frame_gps::latitude)
      .def_readonly("longitude", &orq_frame_gps::longitude)
      .def_readonly("altitude_m", &orq_frame_gps::altitude_m);

  py::class_<orq_disc>(module, "Disc")
      .def_readonly("x", &orq_disc::x)
      .def_readonly("y", &orq_disc::y)
      .def_readonly("diameter", &orq_disc::diameter);

  py::class_<orq_statistics>(module, "Statistics")
      .def_readonly("minimum", &orq_statistics::minimum)
      .def_readonly("maximum", &orq_statistics::maximum)
      .def_readonly("values", &orq_statistics::values)
      .def_readonly("mean", &orq_statistics::mean)
      .def_readonly("median", &orq_statistics::median)
      .def_readonly("deviation", &orq_statistics::deviation)
      .def_readonly("saturated", &orq_statistics::saturated)
      .def_property_readonly("histogram", [](const orq_statistics& statistics) {
        py::list counts;
        for (const std::uint32_t count : statistics.histogram) counts.append(count);
        return counts;
      });
}

}  // namespace

void BindStructs(py::module_& module) {
  BindCameraStructs(module);
  BindWorkStructs(module);
  BindFrameStructs(module);
  BindTimeStructs(module);
  BindStreamStructs(module);
}

}  // namespace orq::python
