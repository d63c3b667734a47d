// A bulk pipe that does exactly what a test tells it, when it tells it.
#pragma once

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "FrameMaker.h"
#include "link/usb/BulkPipe.h"

namespace orq::test {

/// Transfers wait in the order of submission until the test completes them; nothing happens by itself except what
/// `onCancel` says. Completions never overlap (as on a real usb-thread), whichever thread causes them.
class ScriptedPipe : public BulkPipe {
 public:
  enum class CancelMode : std::uint8_t { AtOnce, Hold };

  struct Transfer : BulkTransfer {
    explicit Transfer(int bytes, ScriptedPipe& maker) : storage(static_cast<std::size_t>(bytes)), pipe(maker) {
      buffer = storage.data();
      capacity = bytes;
    }
    ~Transfer() override {
      const std::lock_guard lock(pipe.mutex_);
      std::erase(pipe.alive_, this);
    }
    Bytes storage;
    ScriptedPipe& pipe;
    bool cancelled = false;
  };

  // The script -------------------------------------------------------------------------------------------------

  std::deque<UsbError> submitResults;              ///< of the next submissions; then kUsbOk
  std::deque<UsbError> clearResults;               ///< of the next clears; then kUsbOk
  std::deque<std::function<void()>> duringSubmit;  ///< run in the next submissions, after queueing
  CancelMode onCancel = CancelMode::AtOnce;
  int makeLimit = 1000;             ///< transfers that there is memory for
  UsbError submitForEver = kUsbOk;  ///< of every submission once `submitResults` is used up
  UsbError clearForEver = kUsbOk;   ///< of every clear once `clearResults` is used up
  std::atomic<bool> gone{false};    ///< what the system says of the device

  /// Everything that was called, in order: "clear", "submit", "cancel", and what `Log` adds.
  std::vector<std::string> Calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  void Log(const std::string& call) {
    const std::lock_guard lock(mutex_);
    calls_.push_back(call);
  }
  int Count(const std::string& call) const {
    const auto calls = Calls();
    return static_cast<int>(std::count(calls.begin(), calls.end(), call));
  }

  // Completions ------------------------------------------------------------------------------------------------

  /// Ends the oldest queued transfer. False when none is queued.
  bool Complete(TransferStatus status, std::span<const std::uint8_t> data = {}) {
    const std::lock_guard serial(completing_);
    Transfer* transfer = nullptr;
    {
      const std::lock_guard lock(mutex_);
      if (queue_.empty()) return false;
      transfer = queue_.front();
      queue_.pop_front();
    }
    Finish(*transfer, status, data);
    return true;
  }

  /// Sends a frame as a host controller would deliver it: full transfers, then a short or zero-length one.
  void SendFrame(std::span<const std::uint8_t> bytes) { SendPart(bytes, true); }
  /// The same without the packet that ends it: only whole transfers are completed.
  void SendPart(std::span<const std::uint8_t> bytes, bool end = false) {
    while (true) {
      const std::size_t capacity = Capacity();
      if (bytes.size() < capacity && !end) return;
      const std::size_t count = std::min(bytes.size(), capacity);
      if (!Complete(TransferStatus::Completed, bytes.first(count))) return;
      bytes = bytes.subspan(count);
      if (count < capacity) return;
    }
  }

  /// Completes the transfers whose cancellation was held back: as cancelled, or with `status` and `data`.
  void ReleaseCancelled(TransferStatus status = TransferStatus::Cancelled,
                        std::span<const std::uint8_t> data = {}) {
    const std::lock_guard serial(completing_);
    while (Transfer* transfer = TakeCancelled()) Finish(*transfer, status, data);
  }

  // Waiting ----------------------------------------------------------------------------------------------------

  int Queued() const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(queue_.size());
  }
  bool WaitQueued(int count) {
    return WaitFor([this, count] { return static_cast<int>(queue_.size()) == count; });
  }
  bool WaitClears(int count) {
    return WaitFor([this, count] { return std::count(calls_.begin(), calls_.end(), "clear") >= count; });
  }
  bool WaitCancelled(int count) {
    return WaitFor([this, count] {
      return std::count_if(
                 queue_.begin(), queue_.end(), [](const Transfer* t) { return t->cancelled; }) >= count;
    });
  }
  int Alive() const {
    const std::lock_guard lock(mutex_);
    return static_cast<int>(alive_.size());
  }

  // BulkPipe ---------------------------------------------------------------------------------------------------

  std::unique_ptr<BulkTransfer> MakeTransfer(int bytes) override {
    const std::lock_guard lock(mutex_);
    if (static_cast<int>(alive_.size()) >= makeLimit) return nullptr;
    auto transfer = std::make_unique<Transfer>(bytes, *this);
    alive_.push_back(transfer.get());
    capacity_ = static_cast<std::size_t>(bytes);
    return transfer;
  }

  UsbError Submit(BulkTransfer& transfer) override {
    std::function<void()> during;
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back("submit");
      const UsbError result = submitResults.empty() ? submitForEver : submitResults.front();
      if (!submitResults.empty()) submitResults.pop_front();
      if (result != kUsbOk) {
        changed_.notify_all();
        return result;
      }
      auto& mine = static_cast<Transfer&>(transfer);
      mine.cancelled = false;
      queue_.push_back(&mine);
      if (!duringSubmit.empty()) {
        during = std::move(duringSubmit.front());
        duringSubmit.pop_front();
      }
      changed_.notify_all();
    }
    if (during) during();
    return kUsbOk;
  }

  void Cancel(BulkTransfer& transfer) override {
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back("cancel");
      auto& mine = static_cast<Transfer&>(transfer);
      if (std::find(queue_.begin(), queue_.end(), &mine) == queue_.end()) return;
      mine.cancelled = true;
      changed_.notify_all();
      if (onCancel == CancelMode::Hold) return;
    }
    ReleaseCancelled();
  }

  UsbError ClearHalt() override {
    const std::lock_guard lock(mutex_);
    calls_.push_back("clear");
    if (!queue_.empty()) calls_.push_back("clear while in flight");
    changed_.notify_all();
    if (clearResults.empty()) return clearForEver;
    const UsbError result = clearResults.front();
    clearResults.pop_front();
    return result;
  }

  bool Gone() override { return gone; }

 private:
  void Finish(Transfer& transfer, TransferStatus status, std::span<const std::uint8_t> data) {
    transfer.status = status;
    transfer.actual = static_cast<int>(data.size());
    if (!data.empty()) std::memcpy(transfer.buffer, data.data(), data.size());
    transfer.onComplete(transfer);
  }

  Transfer* TakeCancelled() {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(queue_.begin(), queue_.end(), [](const Transfer* t) { return t->cancelled; });
    if (found == queue_.end()) return nullptr;
    Transfer* transfer = *found;
    queue_.erase(found);
    return transfer;
  }

  std::size_t Capacity() const {
    const std::lock_guard lock(mutex_);
    return capacity_;
  }

  template <class Condition>
  bool WaitFor(Condition condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(20), condition);
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::recursive_mutex completing_;
  std::deque<Transfer*> queue_;
  std::vector<Transfer*> alive_;
  std::vector<std::string> calls_;
  std::size_t capacity_ = 0;
};

}  // namespace orq::test
