// What is around the sensor: cooler, guide port, GPS, triggers and their outputs, focus motor.
#include <pybind11/stl.h>

#include <orqcam/orqcam.hpp>

#include "CameraClass.h"

namespace orq::python {
namespace {

void BindCooler(Class& camera) {
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
      .def("warm_up", [](Camera& camera_, double seconds) {
        Long(camera_, [seconds](Camera& device) { device.warmUp(Seconds(seconds)); });
      });
}

void BindTriggers(Class& camera) {
  camera.def("trigger_modes", &Camera::triggerModes, Alone())
      .def(
          "get_trigger_mode", [](Camera& device) { return device.triggerMode(); }, Alone())
      .def(
          "set_trigger_mode", [](Camera& device, int mode) { device.triggerMode(mode); }, Alone())
      .def("trigger", &Camera::trigger, Alone())
      .def(
          "get_trigger_output", [](Camera& device, int output) { return device.triggerOutput(output); }, Alone())
      .def(
          "set_trigger_output",
          [](Camera& device, int output, bool activeHigh, int delayUs, int lengthUs) {
            auto pulse = sized<orq_trigger_output>();
            pulse.active_high = activeHigh ? 1 : 0;
            pulse.delay_us = delayUs;
            pulse.length_us = lengthUs;
            device.triggerOutput(output, pulse);
          },
          Alone());
}

void BindGps(Class& camera) {
  camera
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
          Alone())
      .def("gps_receiver", &Camera::gpsReceiver, Alone())
      .def("check_gps", &Camera::checkGps, Alone());
}

}  // namespace

void BindDevices(Class& camera) {
  BindCooler(camera);
  BindTriggers(camera);
  BindGps(camera);
  camera
      .def("guide",
           [](Camera& camera_, int direction, int ms) {
             Long(camera_,
                  [direction, ms](Camera& device) { device.guide(direction, std::chrono::milliseconds(ms)); });
           })
      .def(
          "get_focus", [](Camera& device) { return device.focus(); }, Alone())
      .def("move_focus",
           [](Camera& camera_, int position) {
             Long(camera_, [position](Camera& device) { device.focus(position); });
           })
      .def("sensor_id", &Camera::sensorId, Alone());
}

}  // namespace orq::python
