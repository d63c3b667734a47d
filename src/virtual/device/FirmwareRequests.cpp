// The vendor requests of the firmware.
#include <algorithm>
#include <chrono>
#include <thread>

#include "virtual/device/Firmware.h"

namespace orq {
namespace {

constexpr std::array<std::uint8_t, wire::kFirmwareVersionBytes> kVersion{1, 0, 0, 1};
/// Supply voltage of 12 V on the ADC: 12 bits for 12.296 V, left-aligned.
constexpr std::uint16_t kSupplyWord = 3997 << 4;

std::uint32_t FlashAddress(const SetupPacket& setup) {
  return std::uint32_t{setup.value} << 16 | setup.index;
}

/// False without a word: the device is not there.
bool Answer(std::span<std::uint8_t> data, std::optional<std::uint16_t> word) {
  if (word) {
    data[0] = static_cast<std::uint8_t>(*word);
    data[1] = static_cast<std::uint8_t>(*word >> 8);
  }
  return word.has_value();
}

}  // namespace

const std::array<Firmware::RequestEntry, 24> Firmware::kRequests{{
    {wire::kReqStopSensorClock, false, 0, 0, &Firmware::StopClock},
    {wire::kReqStartSensorClock, false, 0, 0, &Firmware::StartClock},
    {wire::kReqGuideOn, false, 0, 0, &Firmware::SwitchGuideLine},
    {wire::kReqGuideOff, false, 0, 0, &Firmware::SwitchGuideLine},
    {wire::kReqBoardTemperature, true, 2, 2, &Firmware::BoardTemperature},
    {wire::kReqTransferCount, false, 0, 0, &Firmware::TransferCount},
    {wire::kReqFocusMotor, true, 1, 1, &Firmware::ReadFocusMotor},
    {wire::kReqFocusMotor, false, 0, 0, &Firmware::WriteFocusMotor},
    {wire::kReqFlashWrite, false, 1, wire::kFlashTransferBytes, &Firmware::FlashWrite},
    {wire::kReqFlashRead, true, 1, wire::kFlashTransferBytes, &Firmware::FlashRead},
    {wire::kReqFlashErase, false, 0, 0, &Firmware::FlashErase},
    {wire::kReqTemperatureAdc, true, 2, 2, &Firmware::TemperatureAdc},
    {wire::kReqSerialNumber, true, 8, 8, &Firmware::SerialNumber},
    {wire::kReqReadFpga, true, 1, 1, &Firmware::ReadFpga},
    {wire::kReqWriteFpga, false, 0, 0, &Firmware::WriteFpga},
    {wire::kReqReadSensor, true, 1, 1, &Firmware::ReadSensor},
    {wire::kReqWriteSensor, false, 0, 0, &Firmware::WriteSensor},
    {wire::kReqFirmwareVersion, true, wire::kFirmwareVersionBytes, wire::kFirmwareVersionBytes,
     &Firmware::FirmwareVersion},
    {wire::kReqMainBoardType, true, 1, 1, &Firmware::MainBoardType},
    {wire::kReqGpifBusWidth, false, 0, 0, &Firmware::GpifBusWidth},
    {wire::kReqSoftTrigger, false, 0, 0, &Firmware::SoftTrigger},
    {wire::kReqGpsBlock, true, wire::kGpsLatchCountBytes + wire::kGpsBlockV0Bytes,
     wire::kGpsLatchCountBytes + wire::kGpsBlockV0Bytes, &Firmware::GpsBlock},
    {wire::kReqGpsLatch, true, wire::kGpsLatchBytes, wire::kGpsLatchBytes, &Firmware::GpsLatchAtOnce},
    {wire::kReqAdcChannel, true, 2, 2, &Firmware::AdcChannel},
}};

int Firmware::Control(const SetupPacket& setup, std::span<std::uint8_t> data) {
  if (!stream_.Connected()) return kUsbNoDevice;
  const MutexLock lock(mutex_);
  const int result = Execute(setup, data);
  const std::size_t kept = setup.In() ? static_cast<std::size_t>(std::max(result, 0)) : data.size();
  log_.push_back({setup, {data.begin(), data.begin() + static_cast<std::ptrdiff_t>(kept)}, result});
  if (log_.size() > kLoggedRequests) log_.pop_front();
  return result;
}

int Firmware::Execute(const SetupPacket& setup, Data data) {
  const UsbError fault = faults_.Next(setup.request);
  if (fault != kUsbOk) return fault;
  const auto* entry = std::ranges::find_if(kRequests, [&](const RequestEntry& known) {
    return known.request == setup.request && setup.requestType == (known.in ? kVendorIn : kVendorOut);
  });
  if (entry == kRequests.end() || setup.length < entry->minLength || setup.length > entry->maxLength ||
      data.size() != setup.length)
    return kUsbPipe;
  const bool done = (this->*entry->handler)(setup, data);
  if (powerLost_)  // by this request; one that the stream ends after it has still been done
    return kUsbNoDevice;
  return done ? int{setup.length} : int{kUsbPipe};
}

// Sensor clock, image bus, frame output ----------------------------------------------------------------------

bool Firmware::StopClock(const SetupPacket&, Data) {
  clockOn_ = false;
  chip_->SetClock(false, SensorChip::Time::clock::now());
  ApplySettings();
  return true;
}

bool Firmware::StartClock(const SetupPacket&, Data) {
  clockOn_ = true;
  chip_->SetClock(true, SensorChip::Time::clock::now());
  ApplySettings();
  return true;
}

bool Firmware::TransferCount(const SetupPacket& setup, Data) {
  transferBlocks_ = std::uint32_t{setup.value} << 16 | setup.index;
  ApplySettings();
  return true;
}

bool Firmware::GpifBusWidth(const SetupPacket& setup, Data) {
  if (setup.value > 1) return false;
  busOn_ = setup.value == 1;
  ApplySettings();
  return true;
}

bool Firmware::SoftTrigger(const SetupPacket&, Data) {
  stream_.SoftTrigger();
  return true;
}

bool Firmware::GpsBlock(const SetupPacket& setup, Data data) {
  return gps_ && gps_->ReadBlock(setup.value, stream_.LastLatch(), data);
}

bool Firmware::GpsLatchAtOnce(const SetupPacket& setup, Data data) {
  return gps_ && setup.value == 0 && gps_->ReadLatch(stream_.LastLatch(), data);
}

// Registers --------------------------------------------------------------------------------------------------

bool Firmware::ReadFpga(const SetupPacket& setup, Data data) {
  if (setup.value >= FpgaRegisters::kCount) return false;
  data[0] = FpgaValue(setup.value);
  return true;
}

bool Firmware::WriteFpga(const SetupPacket& setup, Data) {
  if (setup.value >= FpgaRegisters::kCount || setup.index > 0xFF) return false;
  const auto reg = static_cast<std::uint8_t>(setup.value);
  fpga_.Write(reg, static_cast<std::uint8_t>(setup.index));
  if (!fpga_.Holding()) chip_->EndFpgaHold(sensor_);
  devices_.AfterWrite(reg, fpga_);
  ApplySettings();
  return true;
}

bool Firmware::ReadSensor(const SetupPacket& setup, Data data) {
  data[0] = SensorByte(setup.value);
  return true;
}

bool Firmware::WriteSensor(const SetupPacket& setup, Data) {
  if (setup.index > 0xFF) return false;
  if (devices_.SensorWritable(setup.value)) {
    const auto value = static_cast<std::uint8_t>(setup.index);
    chip_->Write(sensor_, setup.value, value, fpga_.Holding(), SensorChip::Time::clock::now());
    devices_.AfterSensorWrite(setup.value, sensor_);
    ApplySettings();
  }
  return true;
}

// Flash ------------------------------------------------------------------------------------------------------

/// The flash shares its pins with the image bus. Counts the operation and takes its time: the controller does
/// nothing else meanwhile.
bool Firmware::FlashReachable() {
  std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(options_.flashMs * options_.timeScale));
  const bool failing = faults_.FlashOperationFails();
  return !busOn_ && !failing;
}

bool Firmware::FlashWrite(const SetupPacket& setup, Data data) {
  const std::uint32_t address = FlashAddress(setup);
  const FlashFaults::Write fault = flashFaults_.NextWrite();
  if (!FlashReachable() || !SpiFlash::Contains(address, data.size())) return false;
  switch (fault) {
    case FlashFaults::Write::Good:
      memory_.flash.Program(address, data);
      break;
    case FlashFaults::Write::Weak:
      memory_.flash.Program(address, WeaklyProgrammed(data, options_.seed));
      break;
    case FlashFaults::Write::PowerLoss:
      memory_.flash.Program(address, data.first(ProgrammedBeforePowerLoss(data.size())));
      LosePower();
      break;
  }
  return SaveMemory();
}

bool Firmware::FlashRead(const SetupPacket& setup, Data data) {
  const std::uint32_t address = FlashAddress(setup);
  const bool failing = flashFaults_.NextReadFails();
  if (!FlashReachable() || failing || !SpiFlash::Contains(address, data.size())) return false;
  std::ranges::copy(memory_.flash.Read(address, data.size()), data.begin());
  return true;
}

bool Firmware::FlashErase(const SetupPacket& setup, Data) {
  const bool failing = flashFaults_.NextEraseFails();
  if (!FlashReachable() || failing || setup.value >= SpiFlash::kSectors) return false;
  memory_.flash.Erase(setup.value);
  return SaveMemory();
}

// Identity and sensors ---------------------------------------------------------------------------------------

bool Firmware::SerialNumber(const SetupPacket&, Data data) {
  std::ranges::copy(memory_.serial, data.begin());
  return true;
}

bool Firmware::FirmwareVersion(const SetupPacket&, Data data) {
  std::ranges::copy(kVersion, data.begin());
  return true;
}

bool Firmware::MainBoardType(const SetupPacket&, Data data) {
  data[0] = boardType_;
  return true;
}

bool Firmware::BoardTemperature(const SetupPacket&, Data data) {
  return Answer(data, devices_.BoardThermometer());
}

bool Firmware::TemperatureAdc(const SetupPacket&, Data data) {
  return Answer(data, devices_.TemperatureConverter());
}

bool Firmware::AdcChannel(const SetupPacket&, Data data) {
  return Answer(data, kSupplyWord);
}

bool Firmware::SwitchGuideLine(const SetupPacket& setup, Data) {
  return devices_.SwitchGuideLine(setup.value, setup.request == wire::kReqGuideOn);
}

bool Firmware::ReadFocusMotor(const SetupPacket& setup, Data data) {
  const std::optional<std::uint8_t> value = devices_.ReadFocusMotor(setup.value);
  data[0] = value.value_or(0);
  return value.has_value();
}

bool Firmware::WriteFocusMotor(const SetupPacket& setup, Data) {
  if (setup.index > 0xFF || !devices_.WriteFocusMotor(setup.value, static_cast<std::uint8_t>(setup.index)))
    return false;
  stream_.SetFocus(devices_.FocusWanted());
  return true;
}

}  // namespace orq
