// What the streaming engine needs of USB: a handful of calls on one bulk IN endpoint.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "link/usb/UsbTypes.h"

namespace orq {

/// One bulk IN transfer with its buffer. Made by `BulkPipe::MakeTransfer`; the engine sets `onComplete` and
/// `owner`, submits, and may look at the results only from the completion on.
class BulkTransfer {
 public:
  virtual ~BulkTransfer() = default;

  std::uint8_t* buffer = nullptr;  ///< `capacity` bytes, owned by the transfer
  int capacity = 0;                ///< bytes asked for
  int actual = 0;                  ///< bytes that came
  TransferStatus status = TransferStatus::Completed;
  /// Called once per successful submission, on the usb-thread; may also run before `Submit` returns.
  /// It may submit the transfer again.
  void (*onComplete)(BulkTransfer& transfer) = nullptr;
  void* owner = nullptr;
};

/// The camera's frame endpoint. `Submit`, `Cancel` and `Gone` are any-thread; the others caller-serialised.
class BulkPipe {
 public:
  virtual ~BulkPipe() = default;

  /// A transfer of `bytes` bytes; null when there is no memory.
  virtual std::unique_ptr<BulkTransfer> MakeTransfer(int bytes) = 0;
  /// Queues a transfer. `kUsbNoMem` when the system's USB memory is used up, `kUsbNoDevice` after an unplug.
  virtual UsbError Submit(BulkTransfer& transfer) = 0;
  /// Asks for an early end; the completion still comes (as cancelled or, when it was late, as it ended).
  virtual void Cancel(BulkTransfer& transfer) = 0;
  /// Clears the endpoint's halt; no transfer may be in flight. Blocking: not from a completion.
  virtual UsbError ClearHalt() = 0;
  /// Whether the system has taken the device away: unplugged, or no longer allowed to be used. Transfers that it
  /// ends then need not say so. Not from a completion.
  virtual bool Gone() = 0;
};

}  // namespace orq
