// The virtual camera: a firmware-level model of the device below the USB port.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "link/WireProtocol.h"
#include "link/usb/UsbTypes.h"
#include "virtual/bus/VirtualOptions.h"
#include "virtual/device/DeviceReadings.h"
#include "virtual/stream/SyncEdge.h"

namespace orq {

/// A control request that the camera received, as a test reads it back.
struct LoggedRequest {
  SetupPacket setup;
  std::vector<std::uint8_t> data;  ///< data stage (out: as received, in: as answered)
  int result = 0;                  ///< bytes, or a UsbError
};

/// A frame that the sensor exposed and read out, as a test learns of it out of band.
struct SentFrame {
  wire::FrameHeader header;
  std::chrono::system_clock::time_point exposedAt;  ///< begin of its exposure by the computer's clock
  std::shared_ptr<const std::vector<std::uint8_t>> payload;
};

/// What the frame endpoint has to give at this moment.
struct BulkStep {
  enum class Kind : std::uint8_t { Data, Wait, Stall, Error, Gone };
  Kind kind = Kind::Wait;
  std::size_t bytes = 0;                           ///< Data: bytes put into the buffer
  bool endOfTransfer = false;                      ///< Data: a short or zero-length packet ended the transfer
  std::chrono::steady_clock::time_point wakeAt{};  ///< Wait: when more may come; `max()` = on `onWake` only
};

/// One camera: controller requests, FPGA and sensor registers, flash, image sensor, frame endpoint. Every
/// operation is any-thread; nothing throws after construction. It knows the wire form and nothing of the host.
class VirtualCamera {
 public:
  /// Null with a reason in `error` when a replay, state or GPS file cannot be used.
  static std::shared_ptr<VirtualCamera> Make(const VirtualOptions& options, std::string& error);
  virtual ~VirtualCamera() = default;

  virtual const VirtualOptions& Options() const = 0;
  virtual std::uint16_t ProductId() const = 0;
  virtual UsbSpeed Speed() const = 0;

  /// Device state changes by the bus: enumerate again after a replug (registers at power-up values, flash kept).
  virtual void PowerCycle() = 0;
  /// Pulled out: requests and stream answer that there is no device, until the next power cycle.
  virtual void Disconnect() = 0;
  virtual void SetConfiguration(int configuration) = 0;

  /// A control transfer: bytes moved or a UsbError (`kUsbPipe` when refused).
  virtual int Control(const SetupPacket& setup, std::span<std::uint8_t> data) = 0;
  /// Next bytes of the frame stream into `out` (a bulk transfer's remaining buffer). Never blocks.
  virtual BulkStep ReadStream(std::span<std::uint8_t> out) = 0;
  /// The host cleared the endpoint's halt: the next bytes begin a frame.
  virtual void ClearHalt() = 0;
  /// Called (any thread) whenever `ReadStream` may have more to give.
  virtual void SetWake(std::function<void()> onWake) = 0;

  // For tests.
  virtual std::vector<LoggedRequest> Requests() const = 0;
  virtual void ClearRequests() = 0;
  virtual std::uint8_t FpgaRegister(std::uint16_t reg) const = 0;
  virtual void SetFpgaRegister(std::uint16_t reg, std::uint8_t value) = 0;
  virtual std::uint8_t SensorRegister(std::uint16_t reg) const = 0;
  virtual void SetSensorRegister(std::uint16_t reg, std::uint8_t value) = 0;
  virtual std::vector<std::uint8_t> Flash(std::uint32_t address, std::size_t bytes) const = 0;
  virtual void SetFlash(std::uint32_t address, std::span<const std::uint8_t> bytes) = 0;
  virtual void SetBoardType(std::uint8_t type) = 0;
  /// What the devices around the sensor do at this moment.
  virtual DeviceReadings Readings() const = 0;
  /// Temperature of the surroundings, °C, held to -100 … 100.
  virtual void SetAmbient(double celsius) = 0;
  /// Light of a flat scene from the next exposure on, electrons per pixel and second; 0 is darkness.
  virtual void SetFlux(double electronsPerSecond) = 0;
  /// Lets device time pass at once: temperatures, watchdog, hub and focus motor. The only way at time scale 0.
  virtual void AdvanceTime(double seconds) = 0;
  /// Answers the next requests with this code: `kUsbPipe` (refused), `kUsbTimeout`, `kUsbIo`. `skip` matching
  /// requests pass first, then `count` fail (negative: all that follow). Request 0 matches every request.
  virtual void FailRequests(std::uint8_t request, UsbError error, int skip = 0, int count = -1) = 0;
  virtual void ClearFailures() = 0;
  virtual void AddFrameFault(const FrameFault& fault) = 0;
  /// The fault's number counts from the next flash operation of its kind on.
  virtual void AddFlashFault(const FlashFault& fault) = 0;
  /// The level of the external trigger input; low at first.
  virtual void SetTriggerLine(bool high) = 0;
  /// Triggers that came while the sensor could not expose, since the camera was made.
  virtual std::uint64_t TriggersMissed() const = 0;
  /// Changes of a trigger output (0: A, 1: B) since the camera was plugged in, oldest first; the last few
  /// thousand.
  virtual std::vector<SyncEdge> SyncEdges(int output) const = 0;
  /// Frames that the sensor has exposed since the camera was made.
  virtual std::uint64_t FramesExposed() const = 0;
  /// The payload of the frame with this sequence number, when it is one of the last few; empty otherwise. What the
  /// sensor sent, out of band, for comparison.
  virtual std::vector<std::uint8_t> SentPayload(std::uint32_t sequence) const = 0;
  /// The last few frames, oldest first.
  virtual std::vector<SentFrame> SentFrames() const = 0;
};

}  // namespace orq
