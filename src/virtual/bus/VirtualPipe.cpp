#include "virtual/bus/VirtualPipe.h"

#include <algorithm>
#include <new>
#include <span>
#include <system_error>
#include <utility>

namespace orq {

class VirtualTransfer : public BulkTransfer {
 public:
  explicit VirtualTransfer(int bytes)
      : memory_(std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(bytes))) {
    buffer = memory_.get();
    capacity = bytes;
  }

  std::span<std::uint8_t> Rest() {
    return std::span(buffer, static_cast<std::size_t>(capacity)).subspan(static_cast<std::size_t>(actual));
  }

  std::list<VirtualTransfer*> place{this};  ///< its list node, which moves into the queue and back
  bool queued = false;
  bool cancelled = false;

 private:
  std::unique_ptr<std::uint8_t[]> memory_;
};

// Caller's side ----------------------------------------------------------------------------------------------

bool VirtualPipe::Start(std::shared_ptr<VirtualBus::Attachment> device) {
  {
    const MutexLock lock(signal_->mutex);
    device_ = std::move(device);
    closing_ = false;
  }
  try {
    thread_ = std::thread([this] { Run(); });
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void VirtualPipe::Enable(bool on) {
  std::shared_ptr<VirtualBus::Attachment> device;
  {
    const MutexLock lock(signal_->mutex);
    enabled_ = on;
    device = device_;
  }
  if (on) {
    device->camera->SetWake([signal = signal_] {
      const MutexLock lock(signal->mutex);
      signal->woken = true;
      signal->events.notify_all();
    });
  }
}

void VirtualPipe::Stop() {
  if (!thread_.joinable()) return;
  {
    const MutexLock lock(signal_->mutex);
    enabled_ = false;
    closing_ = true;
  }
  signal_->events.notify_all();
  thread_.join();
  const MutexLock lock(signal_->mutex);
  device_.reset();
}

std::unique_ptr<BulkTransfer> VirtualPipe::MakeTransfer(int bytes) {
  try {
    return bytes > 0 ? std::make_unique<VirtualTransfer>(bytes) : nullptr;
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

UsbError VirtualPipe::Submit(BulkTransfer& transfer) {
  auto& mine = static_cast<VirtualTransfer&>(transfer);
  if (!DevicePresent()) return kUsbNoDevice;
  {
    const MutexLock lock(signal_->mutex);
    if (!enabled_) return kUsbNotFound;
    if (mine.queued) return kUsbBusy;
    mine.actual = 0;
    mine.queued = true;
    mine.cancelled = false;
    queue_.splice(queue_.end(), mine.place);
  }
  signal_->events.notify_all();
  return kUsbOk;
}

void VirtualPipe::Cancel(BulkTransfer& transfer) {
  {
    const MutexLock lock(signal_->mutex);
    static_cast<VirtualTransfer&>(transfer).cancelled = true;
  }
  signal_->events.notify_all();
}

UsbError VirtualPipe::ClearHalt() {
  if (!DevicePresent()) return kUsbNoDevice;
  std::shared_ptr<VirtualBus::Attachment> device;
  {
    const MutexLock lock(signal_->mutex);
    if (!queue_.empty()) return kUsbBusy;
    device = device_;
  }
  device->camera->ClearHalt();
  return kUsbOk;
}

bool VirtualPipe::DevicePresent() const {
  std::shared_ptr<VirtualBus::Attachment> device;
  {
    const MutexLock lock(signal_->mutex);
    device = device_;
  }
  return device != nullptr && bus_->Present(*device);
}

// The usb-thread ---------------------------------------------------------------------------------------------

void VirtualPipe::Run() {
  MutexLock lock(signal_->mutex);
  while (!closing_ || !queue_.empty()) {
    if (queue_.empty()) {
      lock.WaitOnce(signal_->events);
      continue;
    }
    if (VirtualTransfer* cancelled = CancelledOne())
      Complete(*cancelled, TransferStatus::Cancelled, lock);
    else if (closing_)
      Complete(*queue_.front(), TransferStatus::Cancelled, lock);
    else
      Serve(lock);
  }
}

VirtualTransfer* VirtualPipe::CancelledOne() const {
  const auto found = std::ranges::find_if(queue_, &VirtualTransfer::cancelled);
  return found != queue_.end() ? *found : nullptr;
}

/// Gives the oldest transfer what the camera has for it.
void VirtualPipe::Serve(MutexLock& lock) {
  VirtualTransfer& transfer = *queue_.front();
  const auto device = device_;
  signal_->woken = false;
  BulkStep step{BulkStep::Kind::Gone};
  {
    const MutexPause open(signal_->mutex, lock);
    if (bus_->Present(*device)) {
      step = device->camera->ReadStream(transfer.Rest());
      if (step.kind == BulkStep::Kind::Gone) bus_->Unplug(*device);
    }
  }
  switch (step.kind) {
    case BulkStep::Kind::Data:
      transfer.actual += static_cast<int>(step.bytes);
      if (step.endOfTransfer || transfer.actual == transfer.capacity)
        Complete(transfer, TransferStatus::Completed, lock);
      break;
    case BulkStep::Kind::Wait:
      WaitUntil(step.wakeAt, lock);
      break;
    case BulkStep::Kind::Stall:
      Complete(transfer, TransferStatus::Stall, lock);
      break;
    case BulkStep::Kind::Error:
      Complete(transfer, TransferStatus::Error, lock);
      break;
    case BulkStep::Kind::Gone:
      Complete(transfer, TransferStatus::NoDevice, lock);
      break;
  }
}

void VirtualPipe::WaitUntil(std::chrono::steady_clock::time_point time, MutexLock& lock) {
  const auto attention = [this]() ORQ_REQUIRES(signal_->mutex) {
    return signal_->woken || closing_ || CancelledOne() != nullptr;
  };
  if (time == std::chrono::steady_clock::time_point::max())
    lock.Wait(signal_->events, attention);
  else
    lock.WaitUntil(signal_->events, time, attention);
}

/// Hands the transfer back to its owner, who may submit or destroy it in the call: it is not touched afterwards.
void VirtualPipe::Complete(VirtualTransfer& transfer, TransferStatus status, MutexLock& lock) {
  const auto place = std::ranges::find(queue_, &transfer);
  transfer.place.splice(transfer.place.end(), queue_, place);
  transfer.queued = false;
  transfer.status = status;
  const MutexPause open(signal_->mutex, lock);
  if (transfer.onComplete != nullptr) transfer.onComplete(transfer);
}

}  // namespace orq
