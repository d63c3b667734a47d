#include "virtual/Firmware.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "link/ProductIds.h"

namespace orq {
namespace {

/// What differs between the boards.
struct Board {
  std::string_view model;
  std::uint16_t productId;
  std::uint8_t fpgaType;
  std::uint8_t boardType;
  bool adjustable;  ///< fan and power LED
};

constexpr Board kBoards[] = {
    {"k1c", pid::kK1C, 1, 1, false},
    {"x26m", pid::kX26M, 2, 6, true},
    {"replay", pid::kReplay, 1, 1, false},
};

const Board& BoardOf(const VirtualOptions& options) {
  const auto* board = std::ranges::find(kBoards, options.model, &Board::model);
  return board != std::end(kBoards) ? *board : kBoards[0];
}

/// The serial number of the options, or one made from model and seed (never all zero).
std::array<std::uint8_t, 8> SerialOf(const VirtualOptions& options) {
  std::array<std::uint8_t, 8> serial{};
  std::uint64_t number = SeededNumber(options.seed, BoardOf(options).productId) | 1U;
  if (!options.serial.empty()) {
    std::from_chars(options.serial.data(), options.serial.data() + options.serial.size(), number, 16);
  }
  for (std::size_t i = 0; i < serial.size(); ++i) {
    serial[i] = static_cast<std::uint8_t>(number >> (56 - 8 * i));
  }
  return serial;
}

constexpr std::uint64_t kPowerUpExposureUs = 10000;
constexpr std::uint8_t kMonoBinOff = 0x80;
constexpr std::uint8_t kHubOn = 0x04;
constexpr std::uint8_t kLedFull = 0xFF;

}  // namespace

std::shared_ptr<Firmware> Firmware::Make(const VirtualOptions& options, std::unique_ptr<FrameSource> source,
                                         std::string& error) {
  DeviceMemory memory;
  memory.serial = SerialOf(options);
  if (!options.state.empty()) {
    const std::uint16_t productId = BoardOf(options).productId;
    if (LoadState(options.state, productId, memory, error) == StateLoad::Failed) {
      return nullptr;
    }
    if (!options.serial.empty()) {
      memory.serial = SerialOf(options);
    }
    if (!SaveState(options.state, productId, memory, error)) {  // learn now that it cannot be kept
      return nullptr;
    }
  }
  return std::make_shared<Firmware>(options, std::move(source), std::move(memory));
}

Firmware::Firmware(const VirtualOptions& options, std::unique_ptr<FrameSource> source, DeviceMemory memory)
    : options_(options),
      memory_(std::move(memory)),
      sensor_(kSensorRegisters),
      faults_(options),
      flashFaults_(options),
      boardType_(BoardOf(options).boardType),
      stream_(std::move(source), options) {
  PowerUpRegisters();
}

Firmware::~Firmware() {
  const std::lock_guard lock(mutex_);
  SaveMemory();
}

std::uint16_t Firmware::ProductId() const {
  return BoardOf(options_).productId;
}

// Bus --------------------------------------------------------------------------------------------------------

void Firmware::PowerCycle() {
  const std::lock_guard lock(mutex_);
  PowerUpRegisters();
  if (memory_.registers) {
    // The program before this one has left the camera powered; from here on the live registers count.
    fpga_.Restore(memory_.registers->fpga);
    sensor_ = memory_.registers->sensor;
    memory_.registers.reset();
  }
  stream_.PowerUp(CurrentSettings());
}

/// Off the bus until it is plugged in again; what was in its registers is gone.
void Firmware::LosePower() {
  PowerUpRegisters();
  stream_.Disconnect();
}

void Firmware::PowerUpRegisters() {
  const FrameSource& source = stream_.Source();
  fpga_.Clear();
  fpga_.Set(wire::kFpgaType, BoardOf(options_).fpgaType);
  fpga_.Set(wire::kFpgaAdjustable, BoardOf(options_).adjustable ? 1 : 0);
  fpga_.Set(wire::kFpgaHubState, kHubOn);
  fpga_.Set(wire::kFpgaLed, kLedFull);
  fpga_.Set(wire::kFpgaMonoBin, kMonoBinOff);
  fpga_.Set(wire::kFpgaFormat, wire::kFormat16Bit);
  fpga_.Set(wire::kFpgaBin, 1);
  fpga_.Set(wire::kFpgaBandwidth, 100);
  fpga_.SetWide(wire::kFpgaWidth, 2, static_cast<std::uint64_t>(source.Width()));
  fpga_.SetWide(wire::kFpgaHeight, 2, static_cast<std::uint64_t>(source.Height()));
  fpga_.SetWide(wire::kFpgaExposure, 5, kPowerUpExposureUs);
  std::ranges::fill(sensor_, std::uint8_t{0});
  clockOn_ = true;
  busOn_ = true;
  configured_ = true;  // the system configures a device when it is plugged in
  transferBlocks_ = 0;
}

void Firmware::SetConfiguration(int configuration) {
  const std::lock_guard lock(mutex_);
  configured_ = configuration == wire::kConfiguration;
  ApplySettings();
  stream_.ClearHalt();
}

/// What the image path is to do by the registers as they stand.
StreamSettings Firmware::CurrentSettings() const {
  const auto number = [this](std::uint16_t reg, int bytes) {
    return static_cast<int>(fpga_.ReadWide(static_cast<std::uint8_t>(reg), bytes));
  };
  const int trigger = number(wire::kFpgaTriggerInput, 1);
  StreamSettings settings;
  settings.output = configured_ && (number(wire::kFpgaRun, 1) & wire::kRunOutput) != 0;
  settings.sensorOn = clockOn_ && (sensor_[wire::kSensorStandby] & 1U) == 0;
  settings.busOn = busOn_;
  settings.snap =
      (number(wire::kFpgaHostMode, 1) & wire::kHostSnap) != 0 || (number(wire::kFpgaSingle, 1) & 1) != 0;
  if ((trigger & wire::kTriggerEnable) != 0 && (trigger & wire::kTriggerSoftMode) == 0) {
    settings.trigger = (trigger & wire::kTriggerExternal) != 0 ? StreamSettings::Trigger::External
                                                               : StreamSettings::Trigger::Software;
  }
  settings.geometry = {.startX = number(wire::kFpgaStartX, 2),
                       .startY = number(wire::kFpgaStartY, 2),
                       .width = number(wire::kFpgaWidth, 2),
                       .height = number(wire::kFpgaHeight, 2),
                       .bin = std::clamp(number(wire::kFpgaBin, 1), 1, 4),
                       .format = static_cast<std::uint8_t>(number(wire::kFpgaFormat, 1))};
  settings.exposureUs = fpga_.ReadWide(wire::kFpgaExposure, 5);
  settings.gain = SensorValue(wire::kSensorGain);
  settings.blackLevel = SensorValue(wire::kSensorBlackLevel);
  settings.bandwidthPercent = std::clamp(number(wire::kFpgaBandwidth, 1), 1, 100);
  settings.transferBlocks = transferBlocks_;
  return settings;
}

int Firmware::SensorValue(std::uint16_t reg) const {
  return sensor_[reg] | sensor_[static_cast<std::uint16_t>(reg + 1)] << 8;
}

/// The exposure counter is the stream's; all else stands in the register file.
std::uint8_t Firmware::FpgaValue(std::uint16_t reg) const {
  const int byte = reg - wire::kFpgaExposureCount;
  if (byte >= 0 && byte < 5) {
    return static_cast<std::uint8_t>(stream_.LastExposureUs() >> (8 * byte));
  }
  return fpga_.Read(static_cast<std::uint8_t>(reg));
}

bool Firmware::SaveMemory() {
  if (options_.state.empty()) {
    return true;
  }
  const bool pluggedIn = !memory_.registers;  // else the kept registers still wait for that
  if (pluggedIn) {
    memory_.registers = DeviceRegisters{fpga_.All(), sensor_};
  }
  std::string error;
  const bool saved = SaveState(options_.state, ProductId(), memory_, error);
  if (pluggedIn) {
    memory_.registers.reset();
  }
  return saved;
}

// For tests --------------------------------------------------------------------------------------------------

std::vector<LoggedRequest> Firmware::Requests() const {
  const std::lock_guard lock(mutex_);
  return {log_.begin(), log_.end()};
}

void Firmware::ClearRequests() {
  const std::lock_guard lock(mutex_);
  log_.clear();
}

std::uint8_t Firmware::FpgaRegister(std::uint16_t reg) const {
  const std::lock_guard lock(mutex_);
  return reg < FpgaRegisters::kCount ? FpgaValue(reg) : std::uint8_t{0};
}

void Firmware::SetFpgaRegister(std::uint16_t reg, std::uint8_t value) {
  const std::lock_guard lock(mutex_);
  if (reg < FpgaRegisters::kCount) {
    fpga_.Set(static_cast<std::uint8_t>(reg), value);
    ApplySettings();
  }
}

std::uint8_t Firmware::SensorRegister(std::uint16_t reg) const {
  const std::lock_guard lock(mutex_);
  return sensor_[reg];
}

void Firmware::SetSensorRegister(std::uint16_t reg, std::uint8_t value) {
  const std::lock_guard lock(mutex_);
  sensor_[reg] = value;
  ApplySettings();
}

std::vector<std::uint8_t> Firmware::Flash(std::uint32_t address, std::size_t bytes) const {
  const std::lock_guard lock(mutex_);
  if (!SpiFlash::Contains(address, bytes)) {
    return {};
  }
  const auto cells = memory_.flash.Read(address, bytes);
  return {cells.begin(), cells.end()};
}

void Firmware::SetFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) {
  const std::lock_guard lock(mutex_);
  if (SpiFlash::Contains(address, bytes.size())) {
    std::ranges::copy(bytes, memory_.flash.Cells(address, bytes.size()).begin());
    SaveMemory();
  }
}

void Firmware::SetBoardType(std::uint8_t type) {
  const std::lock_guard lock(mutex_);
  boardType_ = type;
}

void Firmware::AddFlashFault(const FlashFault& fault) {
  const std::lock_guard lock(mutex_);
  flashFaults_.Add(fault);
}

void Firmware::FailRequests(std::uint8_t request, UsbError error, int skip, int count) {
  const std::lock_guard lock(mutex_);
  faults_.Fail(request, error, skip, count);
}

void Firmware::ClearFailures() {
  const std::lock_guard lock(mutex_);
  faults_.Clear();
}

}  // namespace orq
