// The behaviour of an emulated USB device file: what the kernel's usbfs does with a client's calls.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "emulation/bus/UrbQueue.h"
#include "emulation/common/ControlEndpoint.h"
#include "emulation/common/FrameEndpoint.h"

namespace orq {

/// One open of the device file.
struct Opening {
  ClientMemory* memory = nullptr;
  std::size_t position = 0;                    ///< in the descriptors, for read()
  std::optional<std::uint64_t> waitingReaper;  ///< where a blocking reap wants the request's address
};

/// The result of a call and its errno (0 when it succeeded).
struct CallResult {
  std::int64_t value = 0;
  int error = 0;
  static CallResult Failure(int code) { return {-1, code}; }
};

/// Caller-serialised.
class DeviceFile {
 public:
  DeviceFile(std::shared_ptr<VirtualCamera> camera, UsbIdentity identity, std::uint8_t address, UsbMemory& memory);

  /// One ioctl(); nothing when the answer comes later.
  std::optional<CallResult> Ioctl(Opening& client, unsigned request, std::uint64_t argument);
  /// read(): the descriptors.
  CallResult Read(Opening& client, std::uint64_t buffer, std::size_t bytes);
  /// The answer to a blocking reap, once there is one.
  std::optional<CallResult> LateAnswer(Opening& client);
  /// The client closed its file, or died.
  void Close(const Opening& client);

  /// The bus chose the configuration (0: none yet).
  void Configure(int configuration) { control_.SetConfiguration(configuration); }
  /// Ends everything under way; from now on calls fail as they do after an unplug.
  void Disconnect();
  bool Connected() const { return connected_; }
  /// Which opening holds the interface; null when none does.
  const Opening* Holder() const { return holder_; }
  bool AnyReapable() const { return queue_.AnyReapable(); }
  FrameEndpoint& Frames() { return frames_; }
  /// Leaves everything without an answer from now on.
  void Silence();

 private:
  CallResult Submit(Opening& client, std::uint64_t address);
  CallResult SubmitControl(Opening& client, std::unique_ptr<Urb> urb);
  CallResult Reap(Opening& client, std::uint64_t where);
  CallResult Claim(Opening& client, unsigned interfaceNumber);
  CallResult Release(const Opening& client, unsigned interfaceNumber);
  CallResult SetConfiguration(unsigned configuration);
  CallResult ClearHalt(Opening& client, unsigned endpoint);
  CallResult Connected(Opening& client, unsigned request, std::uint64_t argument);

  UrbQueue queue_;
  FrameEndpoint frames_;
  ControlEndpoint control_;
  const std::shared_ptr<VirtualCamera> camera_;
  const std::uint8_t address_;
  const Opening* holder_ = nullptr;
  bool connected_ = true;
};

}  // namespace orq
