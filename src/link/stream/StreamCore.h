// What a stream consists of: its transfers, parser, check and counters, and the thread that mends it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>

#include "link/stream/FrameJudge.h"
#include "link/stream/FrameStreamParser.h"
#include "link/stream/StreamEngine.h"
#include "link/stream/TransferPool.h"
#include "support/threads/Mutex.h"

namespace orq {

// Why a stream fails, for users: what happened and what to do.
namespace stream_error {
inline constexpr const char* kNoUsbMemory =
    "the system's USB memory is used up: raise usbcore.usbfs_memory_mb "
    "(echo 256 > /sys/module/usbcore/parameters/usbfs_memory_mb) or close other cameras";
inline constexpr const char* kNoMemory = "not enough memory for the stream's buffers: close other programs";
inline constexpr const char* kUnplugged = "the camera was unplugged: plug it in and open it again";
inline constexpr const char* kClearFailed =
    "the camera's frame endpoint could not be cleared: plug the camera in again";
inline constexpr const char* kQueueFailed = "the stream's transfers could not be queued: plug the camera in again";
inline constexpr const char* kOutputFailed = "the camera refused to start sending frames: close and open it again";
inline constexpr const char* kNoThread = "no thread could be started for the stream: close other programs";
inline constexpr const char* kUnsteady =
    "the stream kept breaking down: try another cable or port, or a lower bandwidth";
inline constexpr const char* kStuck = "transfers of the camera did not end: plug the camera in again";
}  // namespace stream_error

/// The part of an engine that transfers refer to. Start and stop, and the completions, stand in StreamCore.cpp;
/// the engine's own thread in StreamRecovery.cpp.
class StreamEngine::Core final : private TransferClient {
 public:
  Core(BulkPipe& pipe, CirBuf& ring, const StreamFormat& format, Output output, const StreamTuning& tuning)
      : pipe_(pipe),
        ring_(ring),
        tuning_(tuning),
        output_(std::move(output)),
        check_(format, stats_),
        parser_(ring, format, stats_),
        pool_(pipe, *this, stats_) {}

  bool Start();
  void Stop();
  /// True when transfers did not end: this object must then live for ever.
  bool Stuck() const { return stuck_; }

  bool Alive() const {
    const MutexLock lock(mutex_);
    return phase_ == Phase::Running || phase_ == Phase::Faulted;
  }
  bool DeviceLost() const {
    const MutexLock lock(mutex_);
    return deviceLost_;
  }
  std::string Error() const {
    const MutexLock lock(mutex_);
    return error_;
  }
  StreamCounters Counters() const { return stats_.Snapshot(); }

 private:
  enum class Phase : std::uint8_t {
    Idle,
    Emptying,  ///< what comes was left over and is thrown away
    Running,
    Faulted,  ///< a fault was noted; the engine's thread will mend it
    Failed,   ///< given up, or the device is gone
    Stopped,
  };

  // On the usb-thread.
  bool OnTransfer(const BulkTransfer& transfer) override;
  void OnSubmitFailed(UsbError error) override;
  void OnStarved() override;
  void MeasureGap(std::uint64_t nowNs);
  void NoteFault(FrameStreamParser::Fault fault);
  void NoteGone();

  // On the engine's thread.
  void Run();
  /// False when transfers are stuck and nothing can be mended any more.
  bool Mend();
  void FeedStarved();
  bool ClearHalt();
  void Fail(const char* reason);
  bool Pause();

  bool Running() const {
    const MutexLock lock(mutex_);
    return phase_ == Phase::Running;
  }
  bool Emptying() const {
    const MutexLock lock(mutex_);
    return phase_ == Phase::Emptying;
  }
  bool FailStart(const char* reason);
  bool EmptyPipe();
  bool ClearAtStart();
  void EndFrames();

  BulkPipe& pipe_;
  CirBuf& ring_;
  const StreamTuning tuning_;
  const Output output_;
  StreamStats stats_;
  FrameCheck check_;          // ring's thread
  FrameStreamParser parser_;  // completions; other threads only while nothing is in flight
  TransferPool pool_;
  std::uint64_t lastCompletionNs_ = 0;  // completions only
  std::atomic<int> leftovers_{0};       // transfers that ended while the pipe was emptied
  int resyncsInARow_ = 0;               // engine's thread only
  std::uint64_t goodAtLastResync_ = 0;  // engine's thread only
  bool live_ = false;                   // caller-serialised
  bool stuck_ = false;                  // caller-serialised

  mutable Mutex mutex_;
  std::condition_variable changed_;
  Phase phase_ ORQ_GUARDED_BY(mutex_) = Phase::Idle;
  FrameStreamParser::Fault fault_ ORQ_GUARDED_BY(mutex_) = FrameStreamParser::Fault::Transport;
  bool stopping_ ORQ_GUARDED_BY(mutex_) = false;
  bool starved_ ORQ_GUARDED_BY(mutex_) = false;
  bool deviceLost_ ORQ_GUARDED_BY(mutex_) = false;
  std::string error_ ORQ_GUARDED_BY(mutex_);
  std::thread thread_;
};

}  // namespace orq
