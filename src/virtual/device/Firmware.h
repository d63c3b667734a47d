// The camera's controller: vendor requests, registers and flash, and what of them the image path needs.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/threads/Mutex.h"
#include "virtual/board/Peripherals.h"
#include "virtual/bus/VirtualCamera.h"
#include "virtual/device/FpgaRegisters.h"
#include "virtual/device/StateFile.h"
#include "virtual/faults/FaultScript.h"
#include "virtual/faults/FlashFaults.h"
#include "virtual/gps/GpsUnit.h"
#include "virtual/sensor/chips/SensorChip.h"
#include "virtual/stream/FrameStream.h"
#include "virtual/stream/TriggerPulses.h"

namespace orq {

/// The firmware of one virtual camera over a sensor.
class Firmware : public VirtualCamera {
 public:
  static constexpr std::size_t kLoggedRequests = 4096;  ///< older ones are forgotten

  /// Null with a reason in `error` when the state file or the GPS log cannot be used.
  static std::shared_ptr<Firmware> Make(const VirtualOptions& options, std::unique_ptr<FrameSource> source,
                                        std::string& error);
  Firmware(const VirtualOptions& options, std::unique_ptr<FrameSource> source, DeviceMemory memory,
           std::optional<GpsUnit> gps);
  ~Firmware() override;

  const VirtualOptions& Options() const override { return options_; }
  std::uint16_t ProductId() const override;
  UsbSpeed Speed() const override { return options_.usb3 ? UsbSpeed::Super : UsbSpeed::High; }
  void PowerCycle() override;
  void Disconnect() override;
  void SetConfiguration(int configuration) override;
  int Control(const SetupPacket& setup, std::span<std::uint8_t> data) override;
  BulkStep ReadStream(std::span<std::uint8_t> out) override { return stream_.Read(out); }
  void ClearHalt() override { stream_.ClearHalt(); }
  void SetWake(std::function<void()> onWake) override { stream_.SetWake(std::move(onWake)); }

  std::vector<LoggedRequest> Requests() const override;
  void ClearRequests() override;
  std::uint8_t FpgaRegister(std::uint16_t reg) const override;
  void SetFpgaRegister(std::uint16_t reg, std::uint8_t value) override;
  std::uint8_t SensorRegister(std::uint16_t reg) const override;
  void SetSensorRegister(std::uint16_t reg, std::uint8_t value) override;
  std::vector<std::uint8_t> Flash(std::uint32_t address, std::size_t bytes) const override;
  void SetFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) override;
  void SetBoardType(std::uint8_t type) override;
  DeviceReadings Readings() const override;
  void SetAmbient(double celsius) override { devices_.SetAmbient(celsius); }
  void SetFlux(double electronsPerSecond) override { stream_.SetFlux(electronsPerSecond); }
  void AdvanceTime(double seconds) override { devices_.AdvanceTime(seconds); }
  void FailRequests(std::uint8_t request, UsbError error, int skip, int count) override;
  void ClearFailures() override;
  void AddFrameFault(const FrameFault& fault) override { stream_.AddFault(fault); }
  void AddFlashFault(const FlashFault& fault) override;
  void SetTriggerLine(bool high) override { stream_.SetTriggerLine(high); }
  std::uint64_t TriggersMissed() const override { return stream_.TriggersMissed(); }
  std::vector<SyncEdge> SyncEdges(int output) const override { return stream_.SyncEdges(output); }
  std::uint64_t FramesExposed() const override { return stream_.FramesExposed(); }
  std::vector<std::uint8_t> SentPayload(std::uint32_t sequence) const override {
    return stream_.SentPayload(sequence);
  }
  std::vector<SentFrame> SentFrames() const override { return stream_.SentFrames(); }

 private:
  using Data = std::span<std::uint8_t>;
  using Handler = bool (Firmware::*)(const SetupPacket& setup, Data data);
  struct RequestEntry {
    std::uint8_t request;
    bool in;
    std::uint16_t minLength;
    std::uint16_t maxLength;
    Handler handler;
  };
  static const std::array<RequestEntry, 24> kRequests;

  int Execute(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);

  // Requests: false refuses.
  bool StopClock(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool StartClock(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool SwitchGuideLine(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool BoardTemperature(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool TransferCount(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool ReadFocusMotor(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool WriteFocusMotor(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool FlashWrite(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool FlashRead(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool FlashErase(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool TemperatureAdc(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool SerialNumber(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool ReadFpga(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool WriteFpga(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool ReadSensor(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool WriteSensor(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool FirmwareVersion(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool MainBoardType(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool GpifBusWidth(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool SoftTrigger(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool GpsBlock(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool GpsLatchAtOnce(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);
  bool AdcChannel(const SetupPacket& setup, Data data) ORQ_REQUIRES(mutex_);

  void PowerUpRegisters() ORQ_REQUIRES(mutex_);
  bool FlashReachable() ORQ_REQUIRES(mutex_);
  void LosePower() ORQ_REQUIRES(mutex_);
  bool SaveMemory() ORQ_REQUIRES(mutex_);
  std::uint8_t FpgaValue(std::uint16_t reg) const ORQ_REQUIRES(mutex_);
  std::uint8_t SensorByte(std::uint16_t reg) const ORQ_REQUIRES(mutex_);
  StreamSettings CurrentSettings() const ORQ_REQUIRES(mutex_);
  void ApplySettings() ORQ_REQUIRES(mutex_);

  const VirtualOptions options_;
  mutable Mutex mutex_;
  DeviceMemory memory_ ORQ_GUARDED_BY(mutex_);
  mutable FpgaRegisters fpga_ ORQ_GUARDED_BY(mutex_);                ///< a read brings it up to date
  mutable std::vector<std::uint8_t> sensor_ ORQ_GUARDED_BY(mutex_);  ///< likewise
  const std::unique_ptr<SensorChip> chip_ ORQ_PT_GUARDED_BY(mutex_);
  RequestFaults faults_ ORQ_GUARDED_BY(mutex_);
  FlashFaults flashFaults_ ORQ_GUARDED_BY(mutex_);
  std::deque<LoggedRequest> log_ ORQ_GUARDED_BY(mutex_);
  std::uint8_t boardType_ ORQ_GUARDED_BY(mutex_);
  bool clockOn_ ORQ_GUARDED_BY(mutex_) = true;
  bool busOn_ ORQ_GUARDED_BY(mutex_) = true;
  bool configured_ ORQ_GUARDED_BY(mutex_) = false;
  bool powerLost_ ORQ_GUARDED_BY(mutex_) = false;
  std::uint32_t transferBlocks_ ORQ_GUARDED_BY(mutex_) = 0;
  Peripherals devices_;  ///< called with the mutex held, but for what is any-thread
  const std::optional<GpsUnit> gps_;
  FrameStream stream_;
  std::unique_ptr<TriggerPulses> triggerPulses_;  ///< ends before the stream
};

}  // namespace orq
