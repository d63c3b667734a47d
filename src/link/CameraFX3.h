// The device link: the only way a camera object reaches its hardware.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "link/SettingsTag.h"
#include "link/stream/StreamCounters.h"
#include "link/stream/StreamFormat.h"
#include "link/usb/UsbPort.h"
#include "support/threads/Relaxed.h"

class CirBuf;

namespace orq {
struct LinkState;
class StreamEngine;
}  // namespace orq

/// Vendor requests, FPGA and sensor registers, SPI flash, trigger settings and the frame stream of one camera.
/// Not polymorphic. Register, request and flash operations are any-thread (control transfers are serialised
/// here) and, unless said otherwise, return true on success; a failed read leaves the out byte as it was.
/// Nothing throws. Opening is caller-serialised; starting and stopping the stream and closing wait for each other.
class CCameraFX3 {
 public:
  CCameraFX3();
  ~CCameraFX3();
  CCameraFX3(const CCameraFX3&) = delete;
  CCameraFX3& operator=(const CCameraFX3&) = delete;

  /// Chooses the port for the opens that follow (libusb unless another was given). Only while closed.
  void UsePort(std::shared_ptr<orq::UsbPort> port);
  orq::UsbPort& Port();

  // State that opening and closing work on.
  orq::Relaxed<std::uint8_t> bOpened{0};  ///< non-zero while open; cleared by CloseDevice and a failed open only
  libusb_context* usbContext = nullptr;   ///< of the port; opaque
  libusb_device_handle* usbHandle = nullptr;      ///< null when not open; opaque
  orq::Relaxed<int> handleNumber{0};              ///< number of this open for log lines, 0 when closed
  std::array<std::uint8_t, 4> firmwareVersion{};  ///< major, minor, patch, protocol; filled by GetFirmwareVer

  /// Stops the stream, releases the interface, closes the handle and clears the opened flag.
  void CloseDevice();
  /// Four version bytes into `ver` and `firmwareVersion`; false: the camera does not answer.
  bool GetFirmwareVer(unsigned char* ver);
  /// True when the camera enumerated at USB 3 speed.
  bool IsUSB3Host();
  bool GetMainBoardType(unsigned char* type);

  /// A vendor request without data.
  bool SendCMD(unsigned char req);
  /// A full vendor request; `in` reads `len` bytes into `data` (fewer is a failure that leaves `data` as it
  /// was). `len` 0 to 4096.
  bool SendCMD(unsigned char req, unsigned short value, unsigned short index, bool in, unsigned char* data,
               long len);

  bool ReadFPGAREG(unsigned short reg, unsigned char* val);
  bool WriteFPGAREG(unsigned short reg, unsigned short val);  ///< low 8 bits of `val`
  /// The FPGA's update hold (register 1) is one for all: whoever writes 1 to it, further registers and 0 keeps
  /// this lock meanwhile, or another thread's 0 ends the hold too early. Not recursive. Any-thread.
  [[nodiscard]] std::unique_lock<std::mutex> LockUpdateHold();
  /// Counts the settings tags that are written to the camera; whoever counts up holds the update hold's lock.
  orq::SettingsTag& Tag();
  const orq::SettingsTag& Tag() const;
  bool ReadSONYREG(unsigned short reg, unsigned char* val);
  bool WriteSONYREG(unsigned short reg, unsigned char val);

  /// Flash access; `mode` is the request code, `addr` the byte address. Read and write: non-zero on success.
  bool ReadFromSPIFlash(unsigned char* buf, unsigned int addr, unsigned int len, unsigned char mode);
  bool WriteToSPIFlash(unsigned char* buf, unsigned int addr, unsigned int len, unsigned char mode);
  /// Erases sector number `addr`. Returns ZERO on success, unlike every other operation here.
  int EraseSectorOfSPIFlash(unsigned int addr, unsigned char mode);
  /// Image bus on (true) or released for flash access (false).
  bool EnableGPIF32DQ(bool on);

  /// Releases the image bus for a flash operation; false, and nothing was sent, while a stream runs: it would get
  /// no more frames. No stream starts until the `ReleaseFlash` of each.
  bool AcquireFlash();
  /// Ends the flash operation: the image bus is on again.
  void ReleaseFlash();

  bool FPGAStart();  ///< start the FPGA's frame output
  bool FPGAStop();   ///< stop the FPGA's frame output

  bool EnableFPGATriggerMode(bool on);
  bool SelectExtTrigSource(bool external);
  bool SelectExtTrigType(bool edge);
  bool SelectExtTrigValidType(bool activeHigh);
  bool SelectExtTrigSoftMode(bool soft);
  bool SendSoftTrigger();  ///< one exposure in a software-triggered mode

  bool EnableExtSyncA(bool on);
  bool EnableExtSyncB(bool on);
  bool SelectExtSyncALevel(bool high);
  bool SelectExtSyncBLevel(bool high);
  bool SetExtSyncADelayTime(unsigned int us);
  bool SetExtSyncAKeepTime(unsigned int us);
  bool SetExtSyncBDelayTime(unsigned int us);
  bool SetExtSyncBKeepTime(unsigned int us);

  /// Mono bin in the FPGA.
  bool SetFPGABinType(bool mono);

  /// Starts receiving frames of `format` into `ring`: stops what still runs, takes the image bus, empties and
  /// clears the endpoint, queues the transfers, then tells the FPGA to send. Refused during a flash operation.
  /// False with `LinkError` set when it could not; nothing then runs.
  bool StartStream(CirBuf& ring, const orq::StreamFormat& format);
  /// Tells the FPGA to stop and ends all transfers; harmless when no stream runs. Works after an unplug.
  void StopStream();
  /// True while a stream runs and can still deliver frames; false after an unplug or too many failed restarts.
  bool StreamAlive() const;
  /// Counters of the stream that runs or ran last. Any-thread.
  orq::StreamCounters Counters() const;
  /// True after the device answered that it is gone, until the next open. Any-thread.
  bool DeviceLost() const;
  /// Asks the system whether it has taken the open device away, which then counts as gone. Any-thread.
  void LookForDevice();
  /// Whether a camera that does not answer a request in time counts as gone, and is sent none after that: who
  /// closes it need not wait for each. Off at first; holds from the next open on. Any-thread.
  void GiveUpAfterTimeout(bool on);
  /// The last failure of the link as one line for a user. Any-thread.
  std::string LinkError() const;

 private:
  std::unique_ptr<orq::LinkState> impl_;
};
