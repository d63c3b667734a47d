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
    const std::lock_guard lock(mutex_);
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
    const std::lock_guard lock(mutex_);
    enabled_ = on;
    device = device_;
  }
  if (on) {
    device->camera->SetWake([signal = signal_] {
      const std::lock_guard lock(signal->mutex);
      signal->woken = true;
      signal->events.notify_all();
    });
  }
}

void VirtualPipe::Stop() {
  if (!thread_.joinable()) {
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    enabled_ = false;
    closing_ = true;
  }
  events_.notify_all();
  thread_.join();
  const std::lock_guard lock(mutex_);
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
  if (!DevicePresent()) {
    return kUsbNoDevice;
  }
  {
    const std::lock_guard lock(mutex_);
    if (!enabled_) {
      return kUsbNotFound;
    }
    if (mine.queued) {
      return kUsbBusy;
    }
    mine.actual = 0;
    mine.queued = true;
    mine.cancelled = false;
    queue_.splice(queue_.end(), mine.place);
  }
  events_.notify_all();
  return kUsbOk;
}

void VirtualPipe::Cancel(BulkTransfer& transfer) {
  {
    const std::lock_guard lock(mutex_);
    static_cast<VirtualTransfer&>(transfer).cancelled = true;
  }
  events_.notify_all();
}

UsbError VirtualPipe::ClearHalt() {
  if (!DevicePresent()) {
    return kUsbNoDevice;
  }
  std::shared_ptr<VirtualBus::Attachment> device;
  {
    const std::lock_guard lock(mutex_);
    if (!queue_.empty()) {
      return kUsbBusy;
    }
    device = device_;
  }
  device->camera->ClearHalt();
  return kUsbOk;
}

bool VirtualPipe::DevicePresent() const {
  std::shared_ptr<VirtualBus::Attachment> device;
  {
    const std::lock_guard lock(mutex_);
    device = device_;
  }
  return device != nullptr && bus_->Present(*device);
}

// The usb-thread ---------------------------------------------------------------------------------------------

void VirtualPipe::Run() {
  Lock lock(mutex_);
  while (!closing_ || !queue_.empty()) {
    if (queue_.empty()) {
      events_.wait(lock);
      continue;
    }
    if (VirtualTransfer* cancelled = CancelledOne()) {
      Complete(*cancelled, TransferStatus::Cancelled, lock);
    } else if (closing_) {
      Complete(*queue_.front(), TransferStatus::Cancelled, lock);
    } else {
      Serve(lock);
    }
  }
}

VirtualTransfer* VirtualPipe::CancelledOne() const {
  const auto found = std::ranges::find_if(queue_, &VirtualTransfer::cancelled);
  return found != queue_.end() ? *found : nullptr;
}

/// Gives the oldest transfer what the camera has for it.
void VirtualPipe::Serve(Lock& lock) {
  VirtualTransfer& transfer = *queue_.front();
  const auto device = device_;
  signal_->woken = false;
  lock.unlock();
  const bool present = bus_->Present(*device);
  const BulkStep step = present ? device->camera->ReadStream(transfer.Rest()) : BulkStep{BulkStep::Kind::Gone};
  if (present && step.kind == BulkStep::Kind::Gone) {
    bus_->Unplug(*device);
  }
  lock.lock();
  switch (step.kind) {
    case BulkStep::Kind::Data:
      transfer.actual += static_cast<int>(step.bytes);
      if (step.endOfTransfer || transfer.actual == transfer.capacity) {
        Complete(transfer, TransferStatus::Completed, lock);
      }
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

void VirtualPipe::WaitUntil(std::chrono::steady_clock::time_point time, Lock& lock) {
  const auto attention = [this] { return signal_->woken || closing_ || CancelledOne() != nullptr; };
  if (time == std::chrono::steady_clock::time_point::max()) {
    events_.wait(lock, attention);
  } else {
    events_.wait_until(lock, time, attention);
  }
}

/// Hands the transfer back to its owner, who may submit or destroy it in the call: it is not touched afterwards.
void VirtualPipe::Complete(VirtualTransfer& transfer, TransferStatus status, Lock& lock) {
  const auto place = std::ranges::find(queue_, &transfer);
  transfer.place.splice(transfer.place.end(), queue_, place);
  transfer.queued = false;
  transfer.status = status;
  lock.unlock();
  if (transfer.onComplete != nullptr) {
    transfer.onComplete(transfer);
  }
  lock.lock();
}

}  // namespace orq
