// Frames from a camera, one by one or as a video.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "camera/Device.h"

namespace orq::cli {

enum class ShotResult {
  Good,
  Failed,       ///< this frame is lost, the next may come
  Ended,        ///< the stream has died, no more will come
  Interrupted,  ///< the user asked to stop
  Lost,         ///< the camera is gone
};

/// Takes frames with the camera's current settings.
class Shooter {
 public:
  explicit Shooter(Device& camera);
  virtual ~Shooter() = default;
  Shooter(const Shooter&) = delete;
  Shooter& operator=(const Shooter&) = delete;

  /// Waits for frame `number` of `count` (for the progress bar). On anything but Good, `Reason` says why. What
  /// `frame` held is let go of first.
  virtual ShotResult Take(Frame& frame, std::uint64_t number, std::uint64_t count) = 0;
  const std::string& Reason() const { return reason_; }
  /// Goes on after the camera has been opened again; false, with a reason, when it cannot.
  virtual bool Resume() { return true; }
  /// How long `Take` waits for an external trigger; by default for ever.
  void SetTriggerPatience(std::chrono::milliseconds patience) { patience_ = patience; }

 protected:
  using Clock = std::chrono::steady_clock;
  bool SoftwareTriggered() const;
  bool ExternallyTriggered() const;
  /// True, with a reason, when the patience with the external trigger is over and no frame has begun to arrive
  /// since.
  bool TriggerOverdue(Clock::time_point since, std::uint64_t framesBefore);
  Device& camera_;
  std::string reason_;

 private:
  const int mode_;
  std::optional<std::chrono::milliseconds> patience_;
};

/// Single exposures, each started by itself. In software-triggered modes it triggers each.
class SingleShooter : public Shooter {
 public:
  using Shooter::Shooter;
  ShotResult Take(Frame& frame, std::uint64_t number, std::uint64_t count) override;

 private:
  bool Start();
  ShotResult Expose(Frame& frame, std::uint64_t number, std::uint64_t count);
};

/// Frames of a running video: the latest one that was not taken yet. In software-triggered modes it triggers the
/// next frame when it is asked for one.
class VideoShooter : public Shooter {
 public:
  /// Throws Error when the video cannot be started.
  explicit VideoShooter(Device& camera);
  ShotResult Take(Frame& frame, std::uint64_t number, std::uint64_t count) override;
  bool Resume() override;
  /// The same with a limit: Failed, with an empty reason, when none came in time.
  ShotResult TakeWithin(Frame& frame, std::chrono::milliseconds wait);

 private:
  bool Trigger();
  std::optional<Video> video_;
  std::optional<Clock::time_point> triggeredAt_;  ///< of the frame that is awaited
};

}  // namespace orq::cli
