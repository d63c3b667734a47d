// What a model camera keeps for its capture worker. Private to models/.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include "image/frame/Algorithm.h"
#include "models/camera/FrameGeometry.h"
#include "models/camera/FrameMailbox.h"
#include "models/camera/ModelCamera.h"
#include "models/frametime/GpsCadence.h"
#include "models/frametime/GpsLatchReader.h"
#include "support/threads/Mutex.h"
#include "support/threads/Relaxed.h"

namespace orq {

struct CModelCamera::Worker {
  explicit Worker(std::size_t frameMemoryBytes) : mailbox(frameMemoryBytes) {}

  /// One control at a time is set: several are made of more than one field. Taken before `registers`, never by the
  /// capture worker.
  std::recursive_mutex controls;
  /// Serialises register sequences, stored control values and `setup`. Never held while waiting for a frame or for
  /// a worker.
  mutable std::mutex registers;
  FrameSetup setup;  ///< of the frames that the stream brings; changes only while no worker runs

  Relaxed<int> readoutMode{0};  ///< of the sensor; written with `registers` held while no worker runs

  FrameMailbox mailbox;
  // Guarded by the mailbox.
  bool ended = true;        ///< the worker that ran last has ended
  bool restarting = false;  ///< a geometry change stops and starts the worker: readers go on waiting
  bool armed = false;       ///< the worker of a trigger mode listens for triggers

  /// When the last software trigger of this capture was sent; the clock's beginning: none was.
  std::atomic<std::chrono::steady_clock::time_point> triggeredAt{};

  std::atomic<bool> videoDied{false};  ///< a video ended by itself, and nothing has kept the settings since

  mutable Mutex troubleMutex;
  std::string trouble ORQ_GUARDED_BY(troubleMutex);
  std::atomic<bool> lackedMemory{false};  ///< is the trouble

  std::function<void()> captureEnded;  ///< changes only while no worker runs

  std::atomic<bool> timeMark{false};
  std::atomic<bool> readsWithFrames{false};
  FrameReadings readings;                          ///< the last ones; worker-only, as the next
  std::chrono::steady_clock::time_point readAt{};  ///< the clock's beginning: not in this capture
  static constexpr int kNoStamps = -1;
  std::atomic<int> stampEveryMs{kNoStamps};  ///< how often a frame is to have its GPS time
  /// Automatic control measures frames with this settings tag or a later one: written with the last change that
  /// concerns it.
  Relaxed<std::uint32_t> measurableTag{0};
  std::optional<GpsLatchReader> gps;                     ///< of models with GPS; worker-only
  GpsCadence cadence;                                    ///< of their frames; worker-only
  std::chrono::steady_clock::time_point stampedAt{};     ///< last frame that the GPS was asked about; worker-only
  std::chrono::steady_clock::time_point autoCopiedAt{};  ///< last copy for automatic control; worker-only

  /// Demosaics delivered frames. Apart from the camera's `algorithm`, which knows the pattern of the raw frame:
  /// flips change the pattern of what is delivered.
  CAlgorithm converter;

  void SetTrouble(std::string text) {
    const MutexLock lock(troubleMutex);
    trouble = std::move(text);
  }
};

}  // namespace orq
