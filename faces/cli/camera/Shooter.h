// Frames from a camera, one by one or as a video.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "camera/CameraModeTable.h"
#include "camera/Frame.h"
#include "camera/Session.h"

namespace orq::cli {

enum class ShotResult {
  Good,
  Failed,       ///< this frame is lost, the next may come
  Ended,        ///< the stream has died, no more will come
  Interrupted,  ///< the user asked to stop
  Lost,         ///< the camera is gone
};

/// Takes frames with the camera's current settings. Stopped at the end of its life.
class Shooter {
 public:
  explicit Shooter(Session& session);
  virtual ~Shooter();
  Shooter(const Shooter&) = delete;
  Shooter& operator=(const Shooter&) = delete;

  /// Waits for frame `number` of `count` (for the progress bar). On anything but Good, `Reason` says why.
  virtual ShotResult Take(Frame& frame, std::uint64_t number, std::uint64_t count) = 0;
  const std::string& Reason() const { return reason_; }
  /// Goes on after the session has reconnected; false, with a reason, when it cannot.
  virtual bool Resume() { return true; }
  /// How long `Take` waits for an external trigger; by default for ever.
  void SetTriggerPatience(std::chrono::milliseconds patience) { patience_ = patience; }

 protected:
  using Clock = std::chrono::steady_clock;
  CModelCamera& Camera() { return session_.Camera(); }
  /// Why the last capture ended by itself.
  std::string Trouble(const std::string& otherwise);
  std::uint64_t ExposureUs() { return session_.Camera().exposureUs; }
  bool SoftwareTriggered() { return IsSoftwareTriggered(Camera().camMode); }
  bool ExternallyTriggered() { return Camera().camMode != 0 && !SoftwareTriggered(); }
  /// True, with a reason, when the patience with the external trigger is over and no frame has begun to arrive
  /// since.
  bool TriggerOverdue(Clock::time_point since, std::uint64_t framesBefore);
  std::string reason_;

 private:
  Session& session_;
  std::optional<std::chrono::milliseconds> patience_;
};

/// Single exposures, each started by itself. In software-triggered modes it triggers each.
class SingleShooter : public Shooter {
 public:
  using Shooter::Shooter;
  ShotResult Take(Frame& frame, std::uint64_t number, std::uint64_t count) override;

 private:
  ShotResult Expose(Frame& frame, std::uint64_t number, std::uint64_t count);
};

/// Frames of a running video: the latest one that was not taken yet. In software-triggered modes it triggers the
/// next frame when it is asked for one.
class VideoShooter : public Shooter {
 public:
  /// Throws CliError when the video cannot be started.
  explicit VideoShooter(Session& session);
  ShotResult Take(Frame& frame, std::uint64_t number, std::uint64_t count) override;
  bool Resume() override;
  /// The same with a limit, and without a copy: Failed, with an empty reason, when none came in time.
  ShotResult TakeWithin(FramePtr& frame, std::chrono::milliseconds wait);

 private:
  bool Dead();
  bool Trigger();
  bool wasAlive_ = false;
  std::optional<Clock::time_point> triggeredAt_;  ///< of the frame that is awaited
};

}  // namespace orq::cli
