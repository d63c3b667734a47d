// Tells when cameras are plugged in and unplugged.
#pragma once

#include <condition_variable>
#include <functional>
#include <thread>
#include <vector>

#include "session/CameraList.h"
#include "support/threads/Mutex.h"

namespace orq::session {

/// Looks for cameras on a thread of its own, from its making to its end.
class CameraWatcher {
 public:
  /// Called on the watcher's thread, first for each camera that is there. Must not end the watcher.
  using Watcher = std::function<void(bool pluggedIn, const CameraEntry& entry)>;

  CameraWatcher(PortMaker makePort, Watcher watcher);
  /// Waits for a call that is under way.
  ~CameraWatcher();
  CameraWatcher(const CameraWatcher&) = delete;
  CameraWatcher& operator=(const CameraWatcher&) = delete;

 private:
  struct Known {
    UsbDeviceEntry device;
    CameraEntry entry;
  };
  void Run();
  void Look();

  const PortMaker makePort_;
  const Watcher watcher_;
  std::shared_ptr<UsbPort> port_;  ///< for looking; kept, because making one takes long
  std::vector<Known> known_;
  Mutex mutex_;
  std::condition_variable changed_;
  bool ending_ ORQ_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace orq::session
