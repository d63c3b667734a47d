// The frame endpoint of a virtual camera, with the thread that serves it.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <thread>

#include "link/usb/BulkPipe.h"
#include "support/threads/Mutex.h"
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
  /// Outlives the pipe where a camera still holds the wake-up.
  struct Signal {
    Mutex mutex;  ///< the pipe's as well; never held while a camera or the bus is called
    std::condition_variable events;
    bool woken ORQ_GUARDED_BY(mutex) = false;
  };

  bool DevicePresent() const;
  void Run();
  void Serve(MutexLock& lock) ORQ_REQUIRES(signal_->mutex);
  VirtualTransfer* CancelledOne() const ORQ_REQUIRES(signal_->mutex);
  void Complete(VirtualTransfer& transfer, TransferStatus status, MutexLock& lock) ORQ_REQUIRES(signal_->mutex);
  void WaitUntil(std::chrono::steady_clock::time_point time, MutexLock& lock) ORQ_REQUIRES(signal_->mutex);

  const std::shared_ptr<VirtualBus> bus_;
  const std::shared_ptr<Signal> signal_ = std::make_shared<Signal>();
  std::shared_ptr<VirtualBus::Attachment> device_ ORQ_GUARDED_BY(signal_->mutex);
  std::list<VirtualTransfer*> queue_ ORQ_GUARDED_BY(signal_->mutex);
  bool enabled_ ORQ_GUARDED_BY(signal_->mutex) = false;
  bool closing_ ORQ_GUARDED_BY(signal_->mutex) = false;
  std::thread thread_;
};

}  // namespace orq
