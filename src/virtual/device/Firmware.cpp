#include "virtual/device/Firmware.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "virtual/device/DeviceData.h"

namespace orq {
namespace {

const DeviceData& DeviceOf(const VirtualOptions& options) {
  const DeviceData* device = FindDevice(options.model);
  return device != nullptr ? *device : AllDevices().front();
}

/// The serial number of the options, or one made from model and seed (never all zero).
std::array<std::uint8_t, 8> SerialOf(const VirtualOptions& options) {
  std::array<std::uint8_t, 8> serial{};
  std::uint64_t number = SeededNumber(options.seed, DeviceOf(options).productId) | 1U;
  if (!options.serial.empty())
    std::from_chars(options.serial.data(), options.serial.data() + options.serial.size(), number, 16);
  for (std::size_t i = 0; i < serial.size(); ++i) serial[i] = static_cast<std::uint8_t>(number >> (56 - 8 * i));
  return serial;
}

constexpr std::uint64_t kPowerUpExposureUs = 10000;
constexpr std::uint8_t kMonoBinOff = 0x80;

}  // namespace

std::shared_ptr<Firmware> Firmware::Make(const VirtualOptions& options, std::unique_ptr<FrameSource> source,
                                         std::string& error) {
  std::optional<GpsUnit> gps;
  if (!GpsUnit::Make(DeviceOf(options), options, gps, error)) return nullptr;
  DeviceMemory memory;
  memory.serial = SerialOf(options);
  if (!options.state.empty()) {
    const std::uint16_t productId = DeviceOf(options).productId;
    if (LoadState(options.state, productId, memory, error) == StateLoad::Failed) return nullptr;
    if (!options.serial.empty()) memory.serial = SerialOf(options);
    if (!SaveState(options.state, productId, memory, error))  // learn now that it cannot be kept
      return nullptr;
  }
  return std::make_shared<Firmware>(options, std::move(source), std::move(memory), std::move(gps));
}

Firmware::Firmware(const VirtualOptions& options, std::unique_ptr<FrameSource> source, DeviceMemory memory,
                   std::optional<GpsUnit> gps)
    : options_(options),
      memory_(std::move(memory)),
      sensor_(kSensorRegisters),
      chip_(MakeSensorChip(options.model)),
      faults_(options),
      flashFaults_(options),
      boardType_(DeviceOf(options).boardType),
      devices_(DeviceOf(options), options, memory_.serial),
      gps_(std::move(gps)),
      stream_(std::move(source), options, devices_.Clock(), [this] { return devices_.SensorC(); }) {
  PowerUpRegisters();
  if (options.triggerPeriodUs > 0) {
    triggerPulses_ = std::make_unique<TriggerPulses>(
        std::chrono::microseconds(options.triggerPeriodUs), [this](bool high) { stream_.SetTriggerLine(high); });
  }
}

Firmware::~Firmware() {
  const MutexLock lock(mutex_);
  SaveMemory();
}

std::uint16_t Firmware::ProductId() const {
  return DeviceOf(options_).productId;
}

// Bus --------------------------------------------------------------------------------------------------------

void Firmware::PowerCycle() {
  const MutexLock lock(mutex_);
  powerLost_ = false;
  PowerUpRegisters();
  if (memory_.registers) {
    // The program before this one has left the camera powered; from here on the live registers count.
    fpga_.Restore(memory_.registers->fpga);
    sensor_ = memory_.registers->sensor;
    chip_->TakeUp(sensor_);
    const std::optional<DeviceWarmth> warmth = memory_.registers->warmth;
    memory_.registers.reset();
    devices_.TakeUp(fpga_);
    if (warmth) devices_.TakeUp(*warmth);
  }
  const StreamSettings settings = CurrentSettings();
  devices_.SetSensorRunning(settings.sensorWarm);
  stream_.PowerUp(settings);
}

void Firmware::Disconnect() {
  {
    const MutexLock lock(mutex_);
    devices_.PowerOff();
  }
  stream_.Disconnect();
}

/// Off the bus until it is plugged in again; what was in its registers is gone.
void Firmware::LosePower() {
  PowerUpRegisters();
  devices_.PowerOff();
  powerLost_ = true;
  stream_.Disconnect();
}

void Firmware::PowerUpRegisters() {
  const FrameSource& source = stream_.Source();
  fpga_.Clear();
  fpga_.Set(wire::kFpgaType, options_.fpgaType.value_or(DeviceOf(options_).fpgaType));
  devices_.PowerUp(fpga_);
  if (gps_) fpga_.Set(wire::kFpgaGpsStatus, gps_->Status());
  fpga_.Set(wire::kFpgaSyncControl, wire::kSyncAHigh | wire::kSyncBHigh);
  fpga_.Set(wire::kFpgaMonoBin, kMonoBinOff);
  fpga_.Set(wire::kFpgaFormat, wire::kFormat16Bit);
  fpga_.Set(wire::kFpgaBin, 1);
  fpga_.Set(wire::kFpgaBandwidth, 100);
  fpga_.SetWide(wire::kFpgaWidth, 2, static_cast<std::uint64_t>(source.Width()));
  fpga_.SetWide(wire::kFpgaHeight, 2, static_cast<std::uint64_t>(source.Height()));
  fpga_.SetWide(wire::kFpgaExposure, 5, kPowerUpExposureUs);
  chip_->PowerUp(sensor_);
  clockOn_ = true;
  busOn_ = true;
  configured_ = true;  // the system configures a device when it is plugged in
  transferBlocks_ = 0;
}

void Firmware::SetConfiguration(int configuration) {
  const MutexLock lock(mutex_);
  configured_ = configuration == wire::kConfiguration;
  ApplySettings();
  stream_.ClearHalt();
}

/// What the image path is to do by the registers as they stand.
StreamSettings Firmware::CurrentSettings() const {
  const auto number = [this](std::uint16_t reg, int bytes) ORQ_REQUIRES(mutex_) {
    return static_cast<int>(fpga_.ReadWide(static_cast<std::uint8_t>(reg), bytes));
  };
  const ChipSetting chip = chip_->Setting(sensor_);
  StreamSettings settings;
  settings.output = configured_ && (number(wire::kFpgaRun, 1) & wire::kRunOutput) != 0;
  settings.sensorOn = clockOn_ && chip.running;
  settings.sensorWarm = clockOn_ && chip.warm;
  settings.busOn = busOn_;
  settings.snap =
      (number(wire::kFpgaHostMode, 1) & wire::kHostSnap) != 0 || (number(wire::kFpgaSingle, 1) & 1) != 0;
  settings.trigger = TriggerSettingOf(fpga_);
  settings.sync = SyncSettingsOf(fpga_);
  settings.geometry = {.startX = number(wire::kFpgaStartX, 2),
                       .startY = number(wire::kFpgaStartY, 2),
                       .width = number(wire::kFpgaWidth, 2),
                       .height = number(wire::kFpgaHeight, 2),
                       .bin = std::clamp(number(wire::kFpgaBin, 1), 1, 4),
                       .format = static_cast<std::uint8_t>(number(wire::kFpgaFormat, 1)),
                       .fast = (number(wire::kFpgaHighSpeed, 1) & 1) != 0,
                       .mode = chip.mode,
                       .lineTimeNs = chip.lineTimeNs != 0 ? chip.lineTimeNs : stream_.Source().LineTimeNs()};
  settings.shutterUs = chip.exposureUs;
  settings.exposureUs = fpga_.ReadWide(wire::kFpgaExposure, 5);
  settings.gain = chip.gain;
  settings.blackLevel = chip.blackLevel;
  settings.readout = chip.readout;
  settings.settingsTag = static_cast<std::uint32_t>(fpga_.ReadWide(wire::kFpgaSettingsTag, 4));
  settings.bandwidthPercent = std::clamp(number(wire::kFpgaBandwidth, 1), 1, 100);
  settings.transferBlocks = transferBlocks_;
  if (gps_) settings.gpsLines = {number(wire::kFpgaGpsStartLine, 2), number(wire::kFpgaGpsEndLine, 2)};
  return settings;
}

std::uint8_t Firmware::FpgaValue(std::uint16_t reg) const {
  const auto at = static_cast<std::uint8_t>(reg);
  devices_.BeforeRead(at, fpga_, stream_.LastExposureUs());
  if (gps_) gps_->BeforeRead(at, fpga_, stream_.LastLatch());
  return fpga_.Read(at);
}

std::uint8_t Firmware::SensorByte(std::uint16_t reg) const {
  devices_.BeforeSensorRead(reg, sensor_);
  return sensor_[reg];
}

void Firmware::ApplySettings() {
  const StreamSettings settings = CurrentSettings();
  devices_.SetSensorRunning(settings.sensorWarm);
  stream_.Apply(settings);
}

bool Firmware::SaveMemory() {
  if (options_.state.empty()) return true;
  const bool pluggedIn = !memory_.registers;  // else the kept registers still wait for that
  if (pluggedIn) {
    devices_.BeforeSave(fpga_);
    memory_.registers = DeviceRegisters{fpga_.All(), sensor_, devices_.Warmth()};
  }
  std::string error;
  const bool saved = SaveState(options_.state, DeviceOf(options_).productId, memory_, error);
  if (pluggedIn) memory_.registers.reset();
  return saved;
}

// For tests --------------------------------------------------------------------------------------------------

std::vector<LoggedRequest> Firmware::Requests() const {
  const MutexLock lock(mutex_);
  return {log_.begin(), log_.end()};
}

void Firmware::ClearRequests() {
  const MutexLock lock(mutex_);
  log_.clear();
}

std::uint8_t Firmware::FpgaRegister(std::uint16_t reg) const {
  const MutexLock lock(mutex_);
  return reg < FpgaRegisters::kCount ? FpgaValue(reg) : std::uint8_t{0};
}

void Firmware::SetFpgaRegister(std::uint16_t reg, std::uint8_t value) {
  const MutexLock lock(mutex_);
  if (reg < FpgaRegisters::kCount) {
    fpga_.Set(static_cast<std::uint8_t>(reg), value);
    devices_.AfterWrite(static_cast<std::uint8_t>(reg), fpga_);
    ApplySettings();
  }
}

std::uint8_t Firmware::SensorRegister(std::uint16_t reg) const {
  const MutexLock lock(mutex_);
  return SensorByte(reg);
}

void Firmware::SetSensorRegister(std::uint16_t reg, std::uint8_t value) {
  const MutexLock lock(mutex_);
  sensor_[reg] = value;
  ApplySettings();
}

std::vector<std::uint8_t> Firmware::Flash(std::uint32_t address, std::size_t bytes) const {
  const MutexLock lock(mutex_);
  if (!SpiFlash::Contains(address, bytes)) return {};
  const auto cells = memory_.flash.Read(address, bytes);
  return {cells.begin(), cells.end()};
}

void Firmware::SetFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) {
  const MutexLock lock(mutex_);
  if (SpiFlash::Contains(address, bytes.size())) {
    std::ranges::copy(bytes, memory_.flash.Cells(address, bytes.size()).begin());
    SaveMemory();
  }
}

void Firmware::SetBoardType(std::uint8_t type) {
  const MutexLock lock(mutex_);
  boardType_ = type;
}

void Firmware::AddFlashFault(const FlashFault& fault) {
  const MutexLock lock(mutex_);
  flashFaults_.Add(fault);
}

DeviceReadings Firmware::Readings() const {
  const MutexLock lock(mutex_);
  return devices_.Readings(fpga_);
}

void Firmware::FailRequests(std::uint8_t request, UsbError error, int skip, int count) {
  const MutexLock lock(mutex_);
  faults_.Fail(request, error, skip, count);
}

void Firmware::ClearFailures() {
  const MutexLock lock(mutex_);
  faults_.Clear();
}

}  // namespace orq
