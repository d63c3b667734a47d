// The frame ring buffer between the USB thread and the camera's worker.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <semaphore>
#include <span>
#include <thread>
#include <vector>

#include "support/threads/Mutex.h"

/// Buffers for whole frames, with a thread of its own (the "insert" thread) that checks each frame that
/// the producer has filled and publishes the good ones to the consumer.
///
/// A slot is exactly one of free, filling (also while it waits for its check), ready or lent. The producer
/// side (`BeginFrame`, `EndFrame`, `AbortFrame`) never blocks and never allocates: usb-thread. The consumer
/// side (`Take`, `Discard`) is for one thread at a time. `SetCheck`, start and stop are caller-serialised
/// and not to be called while a frame is being filled.
class CirBuf {
 public:
  /// Bytes kept beside the payload for the stream's own marks (its header, then its trailer).
  static constexpr std::size_t kMarkBytes = 128;

  enum class SlotState : std::uint8_t { Free, Filling, Ready, Lent };

  /// One frame's place. The producer owns it from `BeginFrame` to `EndFrame` or `AbortFrame`.
  struct Slot {
    std::unique_ptr<std::uint8_t[]> payload;       ///< `FrameBytes()` bytes
    std::size_t payloadBytes = 0;                  ///< bytes stored in `payload`
    std::array<std::uint8_t, kMarkBytes> marks{};  ///< header and trailer bytes as they came
    std::size_t markBytes = 0;                     ///< bytes stored in `marks`
    std::uint64_t excessBytes = 0;                 ///< bytes of the frame that had no place
    std::uint64_t tag = 0;                         ///< the producer's own number for the frame
    std::uint64_t beginNs = 0;                     ///< host monotonic time of the first bytes, ns
    std::uint64_t endNs = 0;                       ///< host monotonic time of the frame's end, ns
    std::atomic<SlotState> state{SlotState::Free};
  };

  /// What the consumer gets beside the payload.
  struct Frame {
    std::size_t payloadBytes = 0;
    std::array<std::uint8_t, kMarkBytes> marks{};
    std::size_t markBytes = 0;
    std::uint64_t beginNs = 0;
    std::uint64_t endNs = 0;
  };

  /// Judges a filled slot on the ring's thread: true publishes it, false returns it to the free ones.
  /// The check counts its verdicts itself.
  using Check = bool (*)(void* context, const Slot& slot);

  /// `count` slots (at least 1) of `frameBytes` bytes. Throws std::bad_alloc.
  CirBuf(std::size_t frameBytes, int count);
  /// Stops the thread.
  ~CirBuf();
  CirBuf(const CirBuf&) = delete;
  CirBuf& operator=(const CirBuf&) = delete;

  /// Starts the ring's thread; nothing when it runs already. Throws std::bad_alloc when the system has no thread
  /// left.
  void StartInstBufThr();
  /// Ends and joins the ring's thread; filled slots that were not yet checked become free. Wakes `Take`.
  void StopInstBufThr();

  std::size_t FrameBytes() const { return frameBytes_; }
  int Count() const { return static_cast<int>(slots_.size()); }

  void SetCheck(Check check, void* context);

  /// A free slot, now filling, with its counts cleared; null when there is none.
  Slot* BeginFrame();
  /// The slot's frame has ended: hand it to the ring's thread.
  void EndFrame(Slot& slot);
  /// The slot's frame will not be completed: it is free again.
  void AbortFrame(Slot& slot);

  /// Waits up to `waitMs` (negative: for ever) for the oldest ready frame, swaps its payload buffer with
  /// `buffer` (which must hold `FrameBytes()` bytes) and frees the slot. False on time-out, or
  /// while the ring's thread is stopped and nothing is ready.
  bool Take(std::unique_ptr<std::uint8_t[]>& buffer, Frame& frame, int waitMs);
  /// Frees every ready slot; returns how many there were.
  int Discard();
  /// Waits until every slot given to `EndFrame` has been judged. Not from the USB thread.
  void WaitJudged();

 private:
  void RunInsert();
  void JudgeEnded();
  void Free(Slot& slot);

  std::size_t frameBytes_;
  std::vector<Slot> slots_;
  Check check_ = nullptr;
  void* checkContext_ = nullptr;

  // Producer to insert thread: slot numbers in the order in which they ended.
  std::vector<std::atomic<int>> ended_;
  std::atomic<std::uint64_t> endedHead_{0};  // written by the producer
  std::atomic<std::uint64_t> judged_{0};     // how many of them the insert thread has judged
  std::counting_semaphore<> wake_{0};
  std::atomic<bool> stop_{false};
  std::thread thread_;

  // Insert thread to consumer.
  orq::Mutex mutex_;
  std::condition_variable readyChanged_;
  std::condition_variable judgedChanged_;
  std::vector<int> ready_ ORQ_GUARDED_BY(mutex_);  // slot numbers, oldest first
  bool running_ ORQ_GUARDED_BY(mutex_) = false;
};
