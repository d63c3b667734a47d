// An emulated USB device node: the terminal that stands for the device file, and the thread that serves its
// clients.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "emulation/bus/DeviceFile.h"
#include "emulation/common/FileDescriptor.h"
#include "support/threads/Mutex.h"

struct pollfd;

namespace orq {

/// Lives from a plug-in until its clients have closed it. Any-thread, but for construction and destruction.
class DeviceNode {
 public:
  struct Settings {
    UsbIdentity identity;
    std::uint8_t address = 0;
    std::string socketPath;  ///< where the preloaded library calls
    CopyMode copy = CopyMode::Best;
    std::function<void()> onVanished;  ///< the camera left the bus by itself; on the node's thread
  };

  /// Null with a reason in `error`.
  static std::unique_ptr<DeviceNode> Make(const Settings& settings, std::shared_ptr<VirtualCamera> camera,
                                          UsbMemory& memory, std::string& error);
  ~DeviceNode();
  DeviceNode(const DeviceNode&) = delete;
  DeviceNode& operator=(const DeviceNode&) = delete;

  /// The terminal to which the node's name must lead.
  const std::string& Terminal() const { return terminalPath_; }
  /// Access rights of the node, as chmod.
  void SetMode(unsigned mode);
  void Configure(int configuration);
  void Disconnect();
  void HaltFrames();
  void FailNextTransfer(int error);
  void Silence();
  bool InUse() const;

 private:
  /// A connection; `opening` first, because requests know their owner by its address.
  struct Client {
    Opening opening;
    FileDescriptor socket;
    std::unique_ptr<ClientMemory> memory;
    bool dead = false;
  };

  DeviceNode(const Settings& settings, std::shared_ptr<VirtualCamera> camera, UsbMemory& memory);
  bool OpenTerminal(std::string& error) ORQ_REQUIRES(mutex_);
  bool Listen(std::string& error);

  void Run();
  void Wait(FrameEndpoint::Clock::time_point until);
  void ServeClients() ORQ_REQUIRES(mutex_);
  void Accept() ORQ_REQUIRES(mutex_);
  bool ServeCall(Client& client) ORQ_REQUIRES(mutex_);
  static bool Answer(const Client& client, const CallResult& result);
  void AnswerWaiting() ORQ_REQUIRES(mutex_);
  void ForgetDeadHolder(const Client& asking) ORQ_REQUIRES(mutex_);
  void Drop(Client& client) ORQ_REQUIRES(mutex_);
  void ShowReadiness() ORQ_REQUIRES(mutex_);
  void Poke() const;

  const Settings settings_;
  const std::shared_ptr<VirtualCamera> camera_;
  const std::shared_ptr<FileDescriptor> wake_;  ///< the camera's wake-up may hold it longer than the node lives
  std::string terminalPath_;                    ///< does not change once the node is made, as the next
  FileDescriptor listener_;

  mutable Mutex mutex_;  ///< never taken by a call from the camera
  DeviceFile file_ ORQ_GUARDED_BY(mutex_);
  FileDescriptor master_ ORQ_GUARDED_BY(mutex_);
  FileDescriptor terminal_ ORQ_GUARDED_BY(mutex_);
  std::list<Client> clients_ ORQ_GUARDED_BY(mutex_);
  bool ready_ ORQ_GUARDED_BY(mutex_) = true;
  bool quit_ ORQ_GUARDED_BY(mutex_) = false;

  std::vector<pollfd> polled_;  ///< of the node's thread
  std::thread thread_;
};

}  // namespace orq
