// Which devices the board of each virtual model carries, as numbers.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace orq {

/// What tells the sensor's temperature, and so which request or register answers and in which form.
enum class ThermometerKind : std::uint8_t {
  Tmp100,  ///< digital thermometer, signed
  Tmp451,  ///< digital thermometer, unsigned: nothing below 0 °C
  Adc081,  ///< thermistor on an 8-bit converter
  Ad7142,  ///< thermistor on a 12-bit converter
  Sensor   ///< the image sensor itself
};

/// One model's board. A device that is not there does not answer: its requests are refused, its registers hold
/// what is written and do nothing.
struct DeviceData {
  std::string_view key;      ///< `virtual:<key>`, and the row of the sensor table
  std::string_view summary;  ///< for users; depth and size come from the sensor's row
  std::uint16_t productId = 0;
  std::uint8_t boardType = 1;  ///< answer to the board type request; hosts expect a fan from 5 and 6
  /// FPGA register 0x1C. Hosts read it in three ways: above 2 a GPS may be there; 6 has the fast readout; 0xA0 to
  /// 0xBF know camera modes 1 to 3, from 0xC0 on all of them.
  std::uint8_t fpgaType = 1;
  ThermometerKind thermometer = ThermometerKind::Tmp100;
  std::uint32_t ticksPerMs = 1000;      ///< rate of the exposure counter
  int gpsVersion = -1;                  ///< of the GPS records; -1: no GPS
  std::uint32_t gpsTicksPerSecond = 0;  ///< that the FPGA counts between two pulses of the receiver
  double gpsLeadUs = 0;                 ///< from a line's latch to the start of its exposure
  bool guidePort = false;
  bool adjustable = false;  ///< fan, power LED and USB hub are on the board
  bool cooler = false;      ///< with window heater; without an adjustable fan, its fan follows the drive
  bool focusMotor = false;
};

std::span<const DeviceData> AllDevices();
/// The table row of a model, or null.
const DeviceData* FindDevice(std::string_view key);

}  // namespace orq
