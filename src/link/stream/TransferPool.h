// The fixed pool of bulk transfers that keeps the frame endpoint busy.
#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <vector>

#include "link/stream/StreamStats.h"
#include "link/usb/BulkPipe.h"
#include "support/threads/Mutex.h"

namespace orq {

/// What a pool tells its owner, on the usb-thread or on the thread that submits. Must not block.
class TransferClient {
 public:
  /// A transfer ended. True: queue it again.
  virtual bool OnTransfer(const BulkTransfer& transfer) = 0;
  /// A transfer could not be queued (and not for want of memory).
  virtual void OnSubmitFailed(UsbError error) = 0;
  /// Every transfer is parked: no completion will come that could bring them back. Call `RetryParked` later.
  virtual void OnStarved() = 0;

 protected:
  ~TransferClient() = default;
};

/// Transfers that are interchangeable and always queued again, so that data keep their order whichever transfer
/// brings them. One that finds no USB memory is parked and tried again when another completes. Completions may
/// come before the submission returns; they never overlap each other.
class TransferPool {
 public:
  TransferPool(BulkPipe& pipe, TransferClient& client, StreamStats& stats);

  /// Makes the transfers. False when there is no memory for them.
  bool Make(int count, int bytesEach);
  /// Allows submissions from now on, and queues every transfer. None may be in flight.
  void QueueAll();
  /// Tries the parked transfers again until one finds no memory.
  void RetryParked();
  /// Gives up the parked transfers and returns how many are left. Later they would take the memory that another
  /// camera's transfer leaves for a moment between its end and its next submission. Not while draining.
  int GiveUpParked();
  /// No submission begins after this. Never blocks: also from a completion.
  void Close();
  /// Closes, cancels what is in flight and waits until all of it has completed and no completion runs.
  /// False when that takes longer than `patience`. Not from a completion.
  bool Drain(std::chrono::milliseconds patience);
  int InFlight() const;
  /// Frees the transfers; none may be in flight.
  void Free();

 private:
  static void Completed(BulkTransfer& transfer);
  void HandleCompleted(BulkTransfer& transfer);
  /// False when there was no memory (the transfer is parked) or submissions have ended.
  bool Queue(BulkTransfer& transfer);
  bool BeginSubmit();
  /// Undoes what BeginSubmit counted.
  void UndoSubmit(BulkTransfer& transfer, bool park);
  void TellWhenStarved();

  BulkPipe& pipe_;
  TransferClient& client_;
  StreamStats& stats_;
  std::vector<std::unique_ptr<BulkTransfer>> transfers_;

  mutable Mutex mutex_;
  std::condition_variable quiet_;
  bool open_ ORQ_GUARDED_BY(mutex_) = false;
  int inFlight_ ORQ_GUARDED_BY(mutex_) = 0;    // submitted, completion not begun
  int completing_ ORQ_GUARDED_BY(mutex_) = 0;  // completions that run now
  int submitting_ ORQ_GUARDED_BY(mutex_) = 0;  // submissions that run now
  std::vector<BulkTransfer*> parked_ ORQ_GUARDED_BY(mutex_);
};

}  // namespace orq
