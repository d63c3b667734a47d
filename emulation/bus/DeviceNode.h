// An emulated USB device node: the terminal that stands for the device file, and the thread that serves its
// clients.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "emulation/bus/DeviceFile.h"
#include "emulation/common/FileDescriptor.h"

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
  bool OpenTerminal(std::string& error);
  bool Listen(std::string& error);

  void Run();
  void Wait(FrameEndpoint::Clock::time_point until);
  void ServeClients();
  void Accept();
  bool ServeCall(Client& client);
  static bool Answer(const Client& client, const CallResult& result);
  void AnswerWaiting();
  void ForgetDeadHolder(const Client& asking);
  void Drop(Client& client);
  void ShowReadiness();
  void Poke() const;

  const Settings settings_;
  const std::shared_ptr<VirtualCamera> camera_;
  const std::shared_ptr<FileDescriptor> wake_;  ///< the camera's wake-up may hold it longer than the node lives
  std::string terminalPath_;

  mutable std::mutex mutex_;  ///< guards all below; never taken by a call from the camera
  DeviceFile file_;
  FileDescriptor master_;
  FileDescriptor terminal_;
  FileDescriptor listener_;
  std::list<Client> clients_;
  std::vector<pollfd> polled_;
  bool ready_ = true;
  bool quit_ = false;

  std::thread thread_;
};

}  // namespace orq
