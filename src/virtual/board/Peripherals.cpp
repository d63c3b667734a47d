#include "virtual/board/Peripherals.h"

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <numeric>

#include "link/WireProtocol.h"
#include "virtual/board/Thermometer.h"

namespace orq {
namespace {

constexpr std::uint8_t kFanFollowsCooler = 0x80;  ///< of the fan control register
constexpr std::uint8_t kFull = 0xFF;
constexpr int kExposureCountBytes = 5;
constexpr std::uint8_t kIdentityPage = 0x7F;
constexpr std::size_t kIdentityBytes = 11;

void PutWord(std::uint16_t word, std::span<std::uint8_t> sensor, std::uint16_t reg) {
  sensor[reg] = static_cast<std::uint8_t>(word);
  sensor[static_cast<std::size_t>(reg) + 1] = static_cast<std::uint8_t>(word >> 8);
}

std::int64_t UnixMs() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

bool Within(std::uint16_t reg, std::uint16_t first, std::size_t bytes) {
  return reg >= first && reg < first + bytes;
}

}  // namespace

Peripherals::Peripherals(const DeviceData& device, const VirtualOptions& options, const Serial& serial)
    : device_(device), serial_(serial), clock_(options.timeScale), thermal_(options, clock_), motor_(serial_) {}

// Power ------------------------------------------------------------------------------------------------------

void Peripherals::PowerUp(FpgaRegisters& fpga) {
  fpga.Set(wire::kFpgaAdjustable, device_.adjustable ? 1 : 0);
  fpga.Set(wire::kFpgaLed, kFull);
  if (device_.adjustable) {
    fpga.Set(wire::kFpgaFanControl, kFanFollowsCooler);
    fpga.Set(wire::kFpgaFanSpeed, kFull);
    fpga.Set(wire::kFpgaHubState, UsbHub::kPowerBit);
  }
  thermal_.Reset();
  guide_.PowerOff(GuideLines::Time::clock::now());
  hub_.PowerUp();
  motor_.PowerUp();
}

void Peripherals::TakeUp(FpgaRegisters& fpga) {
  for (const std::uint16_t reg : {wire::kFpgaFanControl, wire::kFpgaCoolerPower, wire::kFpgaHeater,
                                  wire::kFpgaCoolerWatchdog, wire::kFpgaHubState})
    AfterWrite(static_cast<std::uint8_t>(reg), fpga);
}

void Peripherals::TakeUp(const DeviceWarmth& warmth) {
  const double away = static_cast<double>(UnixMs() - warmth.unixMs) / 1000.0;
  thermal_.Resume({warmth.sensorC, warmth.hotSideC}, std::max(away, 0.0) * clock_.Rate());
}

std::optional<DeviceWarmth> Peripherals::Warmth() const {
  const ThermalUnit::Snapshot now = thermal_.Now();
  if (!device_.cooler || now.coolerDrive == 0) return std::nullopt;
  return DeviceWarmth{now.temperatures.sensorC, now.temperatures.hotSideC, UnixMs()};
}

void Peripherals::PowerOff() {
  thermal_.Reset();
  thermal_.SetRunning(false);
  guide_.PowerOff(GuideLines::Time::clock::now());
  motor_.PowerUp();
}

// FPGA registers ---------------------------------------------------------------------------------------------

void Peripherals::AfterWrite(std::uint8_t reg, FpgaRegisters& fpga) {
  const std::uint8_t value = fpga.Read(reg);
  if (device_.cooler && reg == wire::kFpgaCoolerPower)
    thermal_.SetCooler(value);
  else if (device_.cooler && reg == wire::kFpgaHeater)
    thermal_.SetHeater(value);
  else if (device_.cooler && reg == wire::kFpgaCoolerWatchdog)
    thermal_.SetWatchdog(value);
  else if (device_.adjustable && (reg == wire::kFpgaFanControl || reg == wire::kFpgaFanSpeed))
    WriteFan(fpga);
  else if (device_.adjustable && reg == wire::kFpgaHubCommand)
    hub_.Command(value, clock_.Seconds());
  else if (device_.adjustable && reg == wire::kFpgaHubState)
    hub_.WriteState(value, clock_.Seconds());
}

void Peripherals::WriteFan(const FpgaRegisters& fpga) {
  const bool follows = (fpga.Read(wire::kFpgaFanControl) & kFanFollowsCooler) != 0;
  thermal_.SetFan(follows ? std::nullopt : std::optional<int>(fpga.Read(wire::kFpgaFanSpeed)));
}

void Peripherals::BeforeRead(std::uint8_t reg, FpgaRegisters& fpga, std::uint64_t lastExposureUs) const {
  if (reg == wire::kFpgaExposureCount)
    fpga.SetWide(reg, kExposureCountBytes, lastExposureUs * device_.ticksPerMs / 1000);
  else if (device_.cooler && reg == wire::kFpgaCoolerPower)
    fpga.Set(reg, static_cast<std::uint8_t>(thermal_.CoolerDrive()));
  else if (device_.adjustable && reg == wire::kFpgaHubState)
    ShowHub(hub_.On(clock_.Seconds()), fpga);
  else if (device_.adjustable && reg == wire::kFpgaHubCommand)
    fpga.Set(reg, hub_.Resetting(clock_.Seconds()) ? UsbHub::kResetCommand : std::uint8_t{0});
}

void Peripherals::BeforeSave(FpgaRegisters& fpga) const {
  const double now = clock_.Seconds();
  if (device_.cooler) fpga.Set(wire::kFpgaCoolerPower, static_cast<std::uint8_t>(thermal_.CoolerDrive()));
  if (device_.adjustable) ShowHub(hub_.On(now) || hub_.Resetting(now), fpga);
}

void Peripherals::ShowHub(bool on, FpgaRegisters& fpga) {
  const auto others = static_cast<std::uint8_t>(fpga.Read(wire::kFpgaHubState) & ~UsbHub::kPowerBit);
  fpga.Set(wire::kFpgaHubState, static_cast<std::uint8_t>(others | (on ? UsbHub::kPowerBit : 0)));
}

// Sensor registers -------------------------------------------------------------------------------------------

bool Peripherals::SensorWritable(std::uint16_t reg) const {
  const bool thermometer = device_.thermometer == ThermometerKind::Sensor;
  return !Within(reg, wire::kSensorIdentity, kIdentityBytes) &&
         !(thermometer && Within(reg, wire::kSensorTemperature, 2));
}

void Peripherals::AfterSensorWrite(std::uint16_t reg, std::span<std::uint8_t> sensor) const {
  if (reg == wire::kSensorIdentityRead && sensor[reg] == 1) FetchIdentity(sensor);
}

/// The serial number's eight bytes, the product id, and the sum of these ten; zeros from any other page.
void Peripherals::FetchIdentity(std::span<std::uint8_t> sensor) const {
  const std::span<std::uint8_t> identity = sensor.subspan(wire::kSensorIdentity, kIdentityBytes);
  std::ranges::fill(identity, std::uint8_t{0});
  if (sensor[wire::kSensorIdentityPage] != kIdentityPage) return;
  std::ranges::copy(serial_, identity.begin());
  identity[8] = static_cast<std::uint8_t>(device_.productId >> 8);
  identity[9] = static_cast<std::uint8_t>(device_.productId);
  identity[10] = static_cast<std::uint8_t>(std::accumulate(identity.begin(), identity.begin() + 10, 0U));
}

void Peripherals::BeforeSensorRead(std::uint16_t reg, std::span<std::uint8_t> sensor) const {
  if (reg == wire::kSensorTemperature && device_.thermometer == ThermometerKind::Sensor)
    PutWord(SensorThermometerWord(SensorC()), sensor, reg);
}

// Requests ---------------------------------------------------------------------------------------------------

std::optional<std::uint16_t> Peripherals::BoardThermometer() const {
  switch (device_.thermometer) {
    case ThermometerKind::Tmp100:
      return Tmp100Word(SensorC());
    case ThermometerKind::Tmp451:
      return Tmp451Word(SensorC());
    default:
      return std::nullopt;
  }
}

std::optional<std::uint16_t> Peripherals::TemperatureConverter() const {
  switch (device_.thermometer) {
    case ThermometerKind::Adc081:
      return ThermistorWord(SensorC(), 8);
    case ThermometerKind::Ad7142:
      return ThermistorWord(SensorC(), 12);
    default:
      return std::nullopt;
  }
}

bool Peripherals::SwitchGuideLine(int line, bool on) {
  return device_.guidePort && guide_.Switch(line, on, GuideLines::Time::clock::now());
}

std::optional<std::uint8_t> Peripherals::ReadFocusMotor(std::uint16_t reg) const {
  return device_.focusMotor ? std::optional(motor_.Read(reg, clock_.Seconds())) : std::nullopt;
}

bool Peripherals::WriteFocusMotor(std::uint16_t reg, std::uint8_t value) {
  if (device_.focusMotor) motor_.Write(reg, value, clock_.Seconds());
  return device_.focusMotor;
}

DeviceReadings Peripherals::Readings(const FpgaRegisters& fpga) const {
  const double now = clock_.Seconds();
  const ThermalUnit::Snapshot thermal = thermal_.Now();
  return {.deviceSeconds = now,
          .ambientC = thermal.ambientC,
          .sensorC = thermal.temperatures.sensorC,
          .hotSideC = thermal.temperatures.hotSideC,
          .coolerDrive = thermal.coolerDrive,
          .heaterDrive = thermal.heaterDrive,
          .fanSpeed = thermal.fanSpeed,
          .ledLevel = device_.adjustable ? fpga.Read(wire::kFpgaLed) : kFull,
          .hubOn = device_.adjustable && hub_.On(now),
          .guideLines = guide_.Closed(),
          .guidePulses = {guide_.Pulses().begin(), guide_.Pulses().end()},
          .focusPosition = motor_.Position(now),
          .focusMoving = motor_.Moving(now)};
}

}  // namespace orq
