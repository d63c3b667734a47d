// The virtual camera's image path: exposure, readout, the frames that wait in the device, the frame endpoint.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "support/threads/Mutex.h"
#include "virtual/bus/VirtualCamera.h"
#include "virtual/device/DeviceClock.h"
#include "virtual/faults/FaultScript.h"
#include "virtual/gps/GpsLatch.h"
#include "virtual/sensor/FrameSource.h"
#include "virtual/stream/SyncOutputs.h"
#include "virtual/stream/TriggerUnit.h"
#include "virtual/stream/WireFrame.h"

namespace orq {

/// Region and form of the frames; a change of any of it ends the frame in work.
struct FrameGeometry {
  int startX = 0;
  int startY = 0;
  int width = 0;
  int height = 0;
  int bin = 1;
  std::uint8_t format = 0;
  bool fast = false;                 ///< 10-bit conversion, half the time per row
  int mode = 0;                      ///< readout mode of the sensor
  std::uint64_t lineTimeNs = 10000;  ///< of that mode, at full rate
  bool operator==(const FrameGeometry&) const = default;
};

/// What the registers tell the image path.
struct StreamSettings {
  bool output = false;      ///< frame output runs
  bool sensorOn = false;    ///< the sensor has its clock and is not in standby
  bool sensorWarm = false;  ///< it has its clock, and heats itself
  bool busOn = false;       ///< the image bus is connected to the endpoint
  bool snap = false;        ///< one exposure per start of the output
  TriggerSetting trigger;
  std::array<SyncSetting, kSyncOutputs> sync;
  FrameGeometry geometry;
  std::uint64_t exposureUs = 0;            ///< by the FPGA
  std::optional<std::uint64_t> shutterUs;  ///< by the sensor's own shutter, which then counts
  int gain = 0;
  int blackLevel = 0;
  std::optional<PixelReadout> readout;  ///< what gain and black level come to; none: by the sensor's table row
  std::uint32_t settingsTag = 0;
  int bandwidthPercent = 100;
  std::uint32_t transferBlocks = 0;  ///< longest frame in transfer blocks; 0: no limit
  std::optional<GpsLines> gpsLines;  ///< on a camera with GPS
};

/// Frames are exposed on a thread of its own, ahead of their readout; at most `kDeviceFrames` finished ones wait
/// for the host, further ones are lost. Any-thread.
class FrameStream {
 public:
  static constexpr std::size_t kDeviceFrames = 2;
  /// Of a frame in readout, so much at most has left the sensor and waits in the controller for the host.
  static constexpr std::size_t kControllerBytes = 65536;
  static constexpr std::uint32_t kFirstSequence = 0xFFFFFFF0U;  ///< after power-up: the wrap comes soon
  static constexpr std::uint32_t kFirstLatch = 0xFFFFFFF0U;     ///< likewise; 0 is left out

  /// `sensorC` tells the sensor's temperature when an exposure begins; called with the stream's lock held.
  FrameStream(std::unique_ptr<FrameSource> source, const VirtualOptions& options, const DeviceClock& clock,
              std::function<double()> sensorC);
  ~FrameStream();
  FrameStream(const FrameStream&) = delete;
  FrameStream& operator=(const FrameStream&) = delete;

  const FrameSource& Source() const { return *source_; }

  void PowerUp(const StreamSettings& settings);
  void Disconnect();
  bool Connected() const;
  void Apply(const StreamSettings& settings);
  /// One exposure, when the output runs in a software-triggered mode and the sensor is free.
  void SoftTrigger();
  /// The level of the trigger input; low at first.
  void SetTriggerLine(bool high);
  std::uint64_t TriggersMissed() const;
  /// Light of a flat scene, e-/s, from the next exposure on.
  void SetFlux(double electronsPerSecond);
  /// Where the lens goes: frames that begin from now on show stars as they are there. 0 after power-up.
  void SetFocus(int position);
  /// Changes of a trigger output (0 or 1) until now; none for other numbers.
  std::vector<SyncEdge> SyncEdges(int output) const;

  BulkStep Read(std::span<std::uint8_t> out);
  void ClearHalt();
  void SetWake(std::function<void()> onWake);

  void AddFault(const FrameFault& fault);
  std::uint64_t FramesExposed() const;
  /// Exposure of the frame that was read out last, µs.
  std::uint64_t LastExposureUs() const;
  Payload SentPayload(std::uint32_t sequence) const;
  std::vector<SentFrame> SentFrames() const;
  /// The GPS latch of the frame that was read out last. A frame's latch appears when its readout ends.
  GpsLatch LastLatch() const;

 private:
  using Clock = std::chrono::steady_clock;

  /// One exposure from its start to the end of its readout.
  struct Exposure {
    std::uint64_t epoch = 0;
    FrameGeometry geometry;
    ExposureSettings sensor;
    std::uint32_t settingsTag = 0;
    bool triggered = false;
    Clock::time_point readoutAt{};
    Clock::duration readout{};
    double readoutUs = 0;  ///< device time
    std::uint64_t limit = 0;
    std::optional<GpsLines> gpsLines;
    std::optional<double> readoutSeconds;  ///< device time, where it decides what the frame shows
  };
  struct Waiting {  ///< a frame in the device
    WireFrame frame;
    Clock::time_point readoutAt{};
    Clock::duration readout{};
  };

  void Run();
  bool ExposureDue() const ORQ_REQUIRES(mutex_);
  void AwaitWork(MutexLock& lock) ORQ_REQUIRES(mutex_);
  bool Exposable() const ORQ_REQUIRES(mutex_);
  bool GeometryValid() const ORQ_REQUIRES(mutex_);
  TriggerUnit::Sensor SensorNow() const ORQ_REQUIRES(mutex_);
  Clock::time_point SensorFreeAt() const ORQ_REQUIRES(mutex_);
  bool Exhausted() const ORQ_REQUIRES(mutex_);
  Exposure Begin() ORQ_REQUIRES(mutex_);
  std::shared_ptr<const Payload> Render(const Exposure& exposure, MutexLock& lock) ORQ_REQUIRES(mutex_);
  std::shared_ptr<const Payload> RenderAhead(const Exposure& exposure, MutexLock& lock) ORQ_REQUIRES(mutex_);
  std::shared_ptr<Payload> FreeBuffer(std::size_t bytes) ORQ_REQUIRES(mutex_);
  std::uint64_t ExposureUs() const ORQ_REQUIRES(mutex_);
  std::uint64_t WholeLinesUs(std::uint64_t exposureUs) const ORQ_REQUIRES(mutex_);
  int AdcBits(const FrameGeometry& geometry) const;
  void Fill(const ExposureSettings& settings, const FrameGeometry& geometry, Payload& payload);
  void ReadOut(const Exposure& exposure, std::shared_ptr<const Payload> payload) ORQ_REQUIRES(mutex_);
  void Remember(SentFrame frame) ORQ_REQUIRES(mutex_);
  double ReadoutSeconds(const Exposure& exposure) const ORQ_REQUIRES(mutex_);
  void AddInstants(Exposure& exposure) const ORQ_REQUIRES(mutex_);
  std::uint32_t Latch(const Exposure& exposure, double readoutSeconds) ORQ_REQUIRES(mutex_);
  void SettleLatch() ORQ_REQUIRES(mutex_);

  void Abort() ORQ_REQUIRES(mutex_);
  void DropFrames() ORQ_REQUIRES(mutex_);
  void PopFrame() ORQ_REQUIRES(mutex_);
  BulkStep Strike(FramePlan::Event event) ORQ_REQUIRES(mutex_);
  BulkStep SendFrom(Waiting& waiting, std::span<std::uint8_t> out) ORQ_REQUIRES(mutex_);
  BulkStep SendCut(std::span<std::uint8_t> out) ORQ_REQUIRES(mutex_);
  std::size_t ReadOutBytes(const Waiting& waiting) const;
  void CutFrame() ORQ_REQUIRES(mutex_);
  Clock::duration Scaled(double microseconds) const;
  double ReadoutUs(const FrameGeometry& geometry) const ORQ_REQUIRES(mutex_);
  std::uint64_t DeviceUs(Clock::time_point time) const ORQ_REQUIRES(mutex_);
  void Wake();

  const std::unique_ptr<FrameSource> source_;
  const VirtualOptions options_;
  const DeviceClock& clock_;
  const std::function<double()> sensorC_;
  std::optional<double> flatFlux_ ORQ_GUARDED_BY(mutex_);  ///< set while the camera runs
  int focus_ ORQ_GUARDED_BY(mutex_) = 0;                   ///< where the lens is, or is going
  const int packet_;

  mutable Mutex mutex_;
  std::condition_variable work_;  ///< for the sensor thread
  bool quit_ ORQ_GUARDED_BY(mutex_) = false;
  bool connected_ ORQ_GUARDED_BY(mutex_) = false;
  bool halted_ ORQ_GUARDED_BY(mutex_) = false;
  bool endPending_ ORQ_GUARDED_BY(mutex_) = false;  ///< the host is owed a zero-length packet
  StreamSettings settings_ ORQ_GUARDED_BY(mutex_);
  FrameFaults faults_ ORQ_GUARDED_BY(mutex_);
  std::uint64_t epoch_ ORQ_GUARDED_BY(mutex_) = 0;            ///< changes whenever exposures under way become void
  std::uint64_t exposedSinceRun_ ORQ_GUARDED_BY(mutex_) = 0;  ///< frames since the output was started
  TriggerUnit trigger_ ORQ_GUARDED_BY(mutex_);
  mutable std::array<SyncOutput, kSyncOutputs> sync_
      ORQ_GUARDED_BY(mutex_);  ///< reading the edges brings them up to date
  Clock::time_point poweredAt_ ORQ_GUARDED_BY(mutex_) = Clock::now();
  Clock::time_point exposableSince_ ORQ_GUARDED_BY(mutex_){};
  std::optional<std::uint64_t> exposing_ ORQ_GUARDED_BY(mutex_);  ///< epoch of the exposure in work
  std::uint64_t framesExposed_ ORQ_GUARDED_BY(mutex_) = 0;
  std::uint32_t sequence_ ORQ_GUARDED_BY(mutex_) = kFirstSequence;
  std::uint64_t lastExposureUs_ ORQ_GUARDED_BY(mutex_) = 0;
  bool overlapping_ ORQ_GUARDED_BY(mutex_) = false;  ///< the next exposure follows on the last one's readout
  Clock::time_point lastReadoutAt_ ORQ_GUARDED_BY(mutex_){};
  Clock::time_point lastReadoutEnd_ ORQ_GUARDED_BY(mutex_){};
  double lastReadoutSeconds_ ORQ_GUARDED_BY(mutex_) = 0;     ///< device time, as the latches count it
  double lastReadoutEndSeconds_ ORQ_GUARDED_BY(mutex_) = 0;  ///< likewise
  std::uint32_t latches_ ORQ_GUARDED_BY(mutex_) = 0;         ///< counter of the last one
  GpsLatch latched_ ORQ_GUARDED_BY(mutex_);                  ///< of the last frame whose readout has ended
  std::optional<GpsLatch> latching_
      ORQ_GUARDED_BY(mutex_);  ///< of the frame that is read out until `lastReadoutEnd_`
  std::array<Waiting, kDeviceFrames> frames_ ORQ_GUARDED_BY(mutex_);
  std::size_t firstFrame_ ORQ_GUARDED_BY(mutex_) = 0;
  std::size_t frameCount_ ORQ_GUARDED_BY(mutex_) = 0;
  std::vector<std::shared_ptr<Payload>> buffers_ ORQ_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<const Payload>> rendered_ ORQ_GUARDED_BY(mutex_);  ///< made ahead for `renderedFor_`
  FrameGeometry renderedFor_ ORQ_GUARDED_BY(mutex_);
  std::optional<WireFrame> cut_
      ORQ_GUARDED_BY(mutex_);  ///< what the controller holds of a frame that was ended early
  std::array<SentFrame, 8> sent_ ORQ_GUARDED_BY(mutex_);
  std::size_t nextSent_ ORQ_GUARDED_BY(mutex_) = 0;

  std::vector<std::uint16_t> adu_;  ///< sensor thread only

  Mutex wakeMutex_;
  std::function<void()> onWake_ ORQ_GUARDED_BY(wakeMutex_);

  std::thread thread_;
};

}  // namespace orq
