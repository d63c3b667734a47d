// The frame endpoint of a virtual camera, with the thread that serves it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

#include "link/usb/BulkPipe.h"
#include "virtual/bus/VirtualBus.h"

namespace orq {

class VirtualTransfer;

/// Transfers are served in the order of submission by the usb-thread, which waits for the camera's wake-ups and
/// for the moments at which the camera says that more will come.
class VirtualPipe : public BulkPipe {
 public:
  explicit VirtualPipe(std::shared_ptr<VirtualBus> bus) : bus_(std::move(bus)) {}
  ~VirtualPipe() override { Stop(); }

  // Caller-serialised.
  /// Starts the usb-thread for this device; false when there is no thread to be had.
  bool Start(std::shared_ptr<VirtualBus::Attachment> device);
  /// Transfers can be submitted from now on, or no longer.
  void Enable(bool on);
  /// Ends what is in flight as cancelled and joins the thread.
  void Stop();

  std::unique_ptr<BulkTransfer> MakeTransfer(int bytes) override;
  UsbError Submit(BulkTransfer& transfer) override;
  void Cancel(BulkTransfer& transfer) override;
  UsbError ClearHalt() override;
  bool Gone() override { return !DevicePresent(); }

 private:
  using Lock = std::unique_lock<std::mutex>;

  /// Outlives the pipe where a camera still holds the wake-up.
  struct Signal {
    std::mutex mutex;
    std::condition_variable events;
    bool woken = false;
  };

  bool DevicePresent() const;
  void Run();
  void Serve(Lock& lock);
  VirtualTransfer* CancelledOne() const;
  void Complete(VirtualTransfer& transfer, TransferStatus status, Lock& lock);
  void WaitUntil(std::chrono::steady_clock::time_point time, Lock& lock);

  const std::shared_ptr<VirtualBus> bus_;
  const std::shared_ptr<Signal> signal_ = std::make_shared<Signal>();
  std::mutex& mutex_ = signal_->mutex;  ///< guards all below; never held while a camera or the bus is called
  std::condition_variable& events_ = signal_->events;
  std::shared_ptr<VirtualBus::Attachment> device_;
  std::list<VirtualTransfer*> queue_;
  bool enabled_ = false;
  bool closing_ = false;
  std::thread thread_;
};

}  // namespace orq
