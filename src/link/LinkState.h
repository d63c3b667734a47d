// What stands behind the device link's interface.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "link/SettingsTag.h"
#include "link/stream/StreamEngine.h"
#include "link/usb/UsbPort.h"
#include "support/threads/Mutex.h"
#include "support/threads/Relaxed.h"

namespace orq {

/// Everything behind the link's face: the port, the stream, the locks that serialise them.
struct LinkState {
  static constexpr unsigned kControlTimeoutMs = 1000;

  /// `openedFlag` is the link's opened flag and outlives this.
  explicit LinkState(const Relaxed<std::uint8_t>& openedFlag) : opened(openedFlag) {}

  std::shared_ptr<UsbPort> PortNow();
  std::shared_ptr<StreamEngine> Engine() const;
  void SetStreamError(std::string text);
  void StopEngine() ORQ_REQUIRES(streamMutex);

  bool Out(std::uint8_t request, std::uint16_t value, std::uint16_t index);
  bool Out(std::uint8_t request, std::uint16_t value, std::uint16_t index, std::span<std::uint8_t> data,
           unsigned timeoutMs = kControlTimeoutMs);
  bool In(std::uint8_t request, std::uint16_t value, std::uint16_t index, std::span<std::uint8_t> data);

  bool SetFpgaBits(std::uint16_t reg, std::uint8_t bits, bool on);
  bool SetSyncTime(std::uint16_t reg, std::uint32_t us);

  bool Transfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs)
      ORQ_REQUIRES(controlMutex);

  const Relaxed<std::uint8_t>& opened;
  // Held while a stream is started or stopped, and while the device is closed: a reconnect closes it without
  // stopping the capture, whose worker may be about to queue transfers on it. Taken before controlMutex.
  Mutex streamMutex;
  int flashOperations ORQ_GUARDED_BY(streamMutex) = 0;  // under way
  std::mutex holdMutex;  // the FPGA's update hold; held from setting to clearing it, taken before controlMutex
  SettingsTag tag;
  Mutex controlMutex;  // serialises control transfers; held across a read-modify-write
  std::atomic<bool> deviceLost{false};
  std::atomic<bool> givesUp{false};    // a request that times out is the last one
  std::atomic<bool> streaming{false};  // between StartStream and StopStream: the engine's state counts

  mutable Mutex stateMutex;  // never held across a transfer
  std::shared_ptr<UsbPort> port ORQ_GUARDED_BY(stateMutex);
  std::shared_ptr<StreamEngine> engine ORQ_GUARDED_BY(stateMutex);
  std::string streamError ORQ_GUARDED_BY(stateMutex);
  std::string portErrorBefore
      ORQ_GUARDED_BY(stateMutex);  // what the port's last error was when streamError was set
};

}  // namespace orq
