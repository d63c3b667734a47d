// The frames of a video on their way to INDI's stream manager.
#pragma once

#include <stream/streammanager.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <thread>
#include <vector>

#include "stream/HeldBuffers.h"

namespace orq::indi {

/// Hands frames over at the manager's own pace: it never holds more than two, so that its queue cannot fill. A
/// live view gets the newest frame; a recording gets every frame as long as the line of the reader lasts, and what
/// is left out is counted.
class VideoPump {
 public:
  using Told = std::function<void(std::string why)>;
  /// `failed` is told, on the pump's thread, why the video has ended by itself; `noRoom`, once, why a recording is
  /// given nothing more: it is to be ended.
  VideoPump(INDI::StreamManager& manager, Told failed, Told noRoom);
  ~VideoPump();
  VideoPump(const VideoPump&) = delete;
  VideoPump& operator=(const VideoPump&) = delete;

  /// Starts a video of `camera`, which outlives it. Throws Error.
  void start(Camera& camera);
  /// Ends it, at most 0.5 s; from the pump's own thread, where the manager does so at the end of a recording, it
  /// ends as soon as that returns.
  void stop();
  bool isRunning() const { return running_; }
  /// A recording that clients have ended is closed by the manager when the next frame comes: gives it one.
  void closeRecording() { closeRecording_ = true; }
  /// Whether it has not been given yet.
  bool isClosing() const { return running_ && closeRecording_; }

  /// Tells the manager what frames will look like, which a recording writes down before the first one comes. While
  /// no video runs.
  void expect(const orq_region& region, int bayer);

  struct Counters {
    std::uint64_t passed = 0;   ///< handed to the manager
    std::uint64_t dropped = 0;  ///< left out, because manager or computer was slower than the camera
  };
  Counters counters() const { return {passed_, dropped_}; }

 private:
  void run();
  Frame next(Reader& reader);
  bool awaitRoom();
  bool hasRoom(const Frame& frame);
  void pass(const Frame& frame);
  /// What the manager has to know of frames.
  struct Shape {
    int width = 0, height = 0, format = -1, bayer = ORQ_BAYER_NONE;
    bool operator==(const Shape&) const = default;
  };
  void describe(const Shape& shape);

  INDI::StreamManager& manager_;
  Told failed_;
  Told noRoom_;
  Camera* camera_ = nullptr;
  std::thread thread_;
  std::atomic<bool> running_{false};
  std::atomic<bool> stop_{false};
  std::atomic<bool> closeRecording_{false};
  std::atomic<std::uint64_t> passed_{0};
  std::atomic<std::uint64_t> dropped_{0};

  // Of the pump's thread while it runs.
  HeldBuffers held_;
  Shape described_;
  std::vector<std::uint8_t> swapped_;
  std::uint64_t skipped_ = 0;
  std::uint64_t recorded_ = 0;  ///< handed over for this recording
  bool toldOfRoom_ = false;     ///< likewise
};

}  // namespace orq::indi
