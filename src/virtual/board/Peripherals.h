// The devices around the sensor, and the registers and requests that lead to them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "virtual/board/FocusMotorChip.h"
#include "virtual/board/GuideLines.h"
#include "virtual/board/ThermalUnit.h"
#include "virtual/board/UsbHub.h"
#include "virtual/device/DeviceClock.h"
#include "virtual/device/DeviceData.h"
#include "virtual/device/DeviceReadings.h"
#include "virtual/device/FpgaRegisters.h"
#include "virtual/device/StateFile.h"

namespace orq {

/// The devices of one board. Registers stand in the firmware's register files; the firmware calls here after a
/// write and before a read. Caller-serialised but for `SensorC`, `SetAmbient`, `AdvanceTime` and what `Clock`
/// gives (any-thread).
class Peripherals {
 public:
  using Serial = std::array<std::uint8_t, 8>;

  Peripherals(const DeviceData& device, const VirtualOptions& options, const Serial& serial);

  // Power.
  /// Power-up values into the registers, all devices at rest.
  void PowerUp(FpgaRegisters& fpga);
  /// Acts on registers that were set other than by single writes.
  void TakeUp(FpgaRegisters& fpga);
  /// The same for a cooler that was left on: it has gone on since.
  void TakeUp(const DeviceWarmth& warmth);
  /// Nothing when the cooler is off.
  std::optional<DeviceWarmth> Warmth() const;
  void PowerOff();
  void SetSensorRunning(bool running) { thermal_.SetRunning(running); }

  // FPGA registers.
  void AfterWrite(std::uint8_t reg, FpgaRegisters& fpga);
  /// Brings up to date what devices change by themselves. Values of several bytes are latched when their first
  /// byte is read. `lastExposureUs` is the exposure that ran last.
  void BeforeRead(std::uint8_t reg, FpgaRegisters& fpga, std::uint64_t lastExposureUs) const;
  /// The same for registers that are to be kept. A hub under reset is kept as on: its reset is not.
  void BeforeSave(FpgaRegisters& fpga) const;

  // Sensor registers.
  /// Whether the host may write this register.
  bool SensorWritable(std::uint16_t reg) const;
  void AfterSensorWrite(std::uint16_t reg, std::span<std::uint8_t> sensor) const;
  void BeforeSensorRead(std::uint16_t reg, std::span<std::uint8_t> sensor) const;

  // Requests: nothing or false where the device is missing or refuses.
  std::optional<std::uint16_t> BoardThermometer() const;
  std::optional<std::uint16_t> TemperatureConverter() const;
  bool SwitchGuideLine(int line, bool on);
  std::optional<std::uint8_t> ReadFocusMotor(std::uint16_t reg) const;
  bool WriteFocusMotor(std::uint16_t reg, std::uint8_t value);
  /// Position that the focus motor goes to; 0 without one.
  int FocusWanted() const { return motor_.Wanted(); }

  const DeviceClock& Clock() const { return clock_; }
  double SensorC() const { return thermal_.SensorC(); }
  void SetAmbient(double celsius) { thermal_.SetAmbient(celsius); }
  void AdvanceTime(double seconds) { clock_.Advance(seconds); }
  DeviceReadings Readings(const FpgaRegisters& fpga) const;

 private:
  void WriteFan(const FpgaRegisters& fpga);
  static void ShowHub(bool on, FpgaRegisters& fpga);
  void FetchIdentity(std::span<std::uint8_t> sensor) const;

  const DeviceData& device_;
  const Serial serial_;
  DeviceClock clock_;
  ThermalUnit thermal_;
  GuideLines guide_;
  UsbHub hub_;
  FocusMotorChip motor_;
};

}  // namespace orq
