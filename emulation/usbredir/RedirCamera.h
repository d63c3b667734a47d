// A virtual camera that a virtual machine can connect to.
#pragma once

#include <memory>
#include <string>
#include <thread>

#include "emulation/common/PlugPoint.h"
#include "emulation/usbredir/RedirConnection.h"
#include "support/threads/Mutex.h"

namespace orq {

/// Listens at a socket and serves one virtual machine at a time, each on finding a camera that has just been
/// plugged in. Any-thread, but for construction and destruction.
class RedirCamera : public PlugPoint {
 public:
  /// Null with a reason in `error`. The socket is this user's only; a socket that nobody serves any more is
  /// replaced.
  static std::unique_ptr<RedirCamera> Make(std::shared_ptr<VirtualCamera> camera, const std::string& path,
                                           std::string& error);
  ~RedirCamera() override;
  RedirCamera(const RedirCamera&) = delete;
  RedirCamera& operator=(const RedirCamera&) = delete;

  VirtualCamera& Camera() const override { return *camera_; }
  bool Plugged() const override;
  bool Replug(std::string& error) override;
  void Unplug() override;
  void HaltFrames() override;
  void FailNextTransfer(int error) override;
  void Silence() override;

 private:
  RedirCamera(std::shared_ptr<VirtualCamera> camera, std::string path, FileDescriptor listener);
  void Run();
  void Wait(FrameEndpoint::Clock::time_point until);
  void Accept() ORQ_REQUIRES(mutex_);
  void Poke() const;
  template <typename Action>
  void WithConnection(Action&& action);

  const std::shared_ptr<VirtualCamera> camera_;
  const UsbIdentity identity_;
  const std::string path_;
  const FileDescriptor listener_;
  const std::shared_ptr<FileDescriptor> wake_;  ///< the camera's wake-up may hold it longer than this lives

  mutable Mutex mutex_;  ///< never taken by a call from the camera
  bool plugged_ ORQ_GUARDED_BY(mutex_) = true;
  bool quit_ ORQ_GUARDED_BY(mutex_) = false;
  std::unique_ptr<RedirConnection> connection_ ORQ_GUARDED_BY(mutex_);

  std::thread thread_;
};

}  // namespace orq
