// A camera driven by its model's data: the class that applications use.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "camera/CameraBase.h"
#include "models/camera/FrameMailbox.h"
#include "models/camera/FrameTypes.h"
#include "models/cooling/Cooler.h"
#include "models/table/ModelData.h"

namespace orq {

/// The control of the readout mode, of models whose sensor has several: one more than the catalogue knows.
inline constexpr auto ORQ_READOUT_MODE = static_cast<ORQ_CONTROL_TYPE>(kControlTypes);
inline constexpr const char* kReadoutModeName = "ReadoutMode";

struct FrameSetup;

/// One camera of any of the models.
///
/// Setters of control values are any-thread (the application and the automatic-control worker may call them at
/// once). While the camera is closed they only store; opening programs everything that is stored. While it is open
/// they program the hardware first: a refused register write returns false and leaves both the stored value and,
/// as far as the device still listens, the registers as they were.
class CModelCamera : public CCameraBase {
 public:
  /// Loads the model's settings from the settings file, within the model's limits, unless `settings` says not to.
  explicit CModelCamera(const ModelData& model, const SettingsChoice& settings = SettingsUse::LoadAndKeep);
  /// Stops capture and closes.
  ~CModelCamera() override;

  /// Opens, programs everything that is stored, brought within the model's limits, and builds the control list.
  /// A cooler that is found driven is regulated on, and left on when the camera is closed again (`KeepCooling`).
  /// No exposure counts as set last.
  int OpenCamera(int index) override;
  /// Switches the cooling off, unless it is to be kept, and closes. Keeps the settings also when a video has ended
  /// by itself.
  void CloseCamera() override;
  int ReservedModelOp1() override;
  int ReservedModelOp2() override;
  int ReservedModelOp3() override;
  /// `gain` is clamped to the model's limits, and becomes what the sensor can do next to it.
  bool SetGain(int gain, bool autoGain) override;
  /// `offset` is clamped to the model's limits.
  bool SetBrightness(int offset) override;
  /// Has an effect at bin 2 and 4. Caller-serialised with starting and stopping: a running capture is restarted
  /// when the frames on the wire change.
  bool SetHardwareBin(bool on) override;
  /// Fast readout: half the time per line, 10-bit samples. Refused by models without it. Caller-serialised like
  /// SetHardwareBin.
  bool SetHighSpeedMode(bool on) override;
  /// Of sensors with several readout modes (`Model().sensor->Modes()`): by number from 0. False when there is no
  /// such mode or the camera refused. Caller-serialised like SetHardwareBin.
  bool SetReadoutMode(int mode);
  int GetReadoutMode() const;
  /// Percent of the full readout rate, clamped to the model's limits. `autoFPS` is stored.
  bool SetFPSPerc(int percent, bool autoFPS) override;
  /// White balance (1 to 99, 50 neutral), applied on the host from the next frame on. False on monochrome cameras.
  bool SetWB(int red, int blue, bool autoWB) override;
  /// `exposureUs` is clamped to the model's limits, and becomes what the sensor can do next to it. `expReg`
  /// becomes the exposure in sensor lines.
  bool SetExp(unsigned long long exposureUs, bool autoExp) override;
  /// `GetFrame` without the frame's facts.
  int GetImageData(unsigned char* buffer, int size, int waitMs) override;
  /// True while the frame arrives binned: hardware binning is on (or the FPGA always bins) and the bin is 2, or 4
  /// (where the FPGA bins by 2 and the host by 2). Never at bin 3.
  bool IsHardBinRun() override;
  /// The sensor's own thermometer; the last good temperature when it cannot be read.
  float GetSensorTempInside() override;
  /// Of models with GPS, at the present bandwidth and readout mode.
  int GetRollingInterval(int& interval) override;
  /// Of models with GPS: from the latch of a line to the start of its exposure.
  int GetSHR0Time(float& time) override;
  /// Serves the controls of cooled models as well (target, cooler, heater, fan) and the readout mode. Calls from
  /// several threads lose none of each other's values; while one changes the frames of a running capture, the
  /// others wait.
  int SetControlValue(ORQ_CONTROL_TYPE id, long value, bool autoOn) override;
  int GetControlValue(ORQ_CONTROL_TYPE id, long* value, ORQ_BOOL* autoOn) override;

  /// Describes the control of the readout mode; false for models without it. Any-thread.
  bool DescribeReadoutMode(_ORQ_CONTROL_CAPS& caps) const;

  const ModelData& Model() const { return model_; }

  /// Length of the last exposure in ms by this model's exposure counter. Any-thread.
  int RealExposureMs() { return GetRealExpTime(model_.ticksPerMs); }
  /// What keeps the cooler from regulating, as one line for a user; empty when nothing does. Any-thread.
  std::string CoolerTrouble() const;
  /// How cold the cooler gets the sensor, degrees Celsius, once that is known to fall short of the target; the
  /// trouble says so, too. Any-thread.
  std::optional<double> CoolerReach() const;
  /// Whether closing leaves a running cooler on, for the next program: then the camera itself switches it off when
  /// none comes for 255 s. Off with every switching on, and on when it was found on at opening. Any-thread.
  void KeepCooling(bool keep);

  /// The nearest region that the model's rules allow: sizes and starts are rounded down to the steps (to even
  /// sizes when a Bayer frame is binned). False with a one-line reason when there is none: bin or format not
  /// offered, outside the sensor, or smaller than the smallest. The whole sensor is allowed at every bin.
  /// Any-thread.
  bool FitRegion(const FrameRegion& wanted, FrameRegion& fitted, std::string& reason) const;
  /// Fits and applies a region. A running capture is stopped and started again around the change (a single
  /// exposure under way begins anew), so that no frame of the old region is delivered. Caller-serialised with
  /// starting and stopping. False with a reason: not allowed, registers refused, or capture did not start again.
  bool SetRegion(const FrameRegion& wanted, FrameRegion& applied, std::string& reason);
  FrameRegion Region() const;
  /// Colours of the top left 2 x 2 pixels of frames to come, after region, binning and flips: a BayerPattern; -1:
  /// they are no mosaic. Any-thread.
  int FramePattern() const;
  /// Bytes of one delivered frame of the current region.
  int FrameBytes() const;
  /// The longest that a frame takes with the present settings, from the start of its exposure until it is here, on
  /// the slowest link that a camera is used on.
  std::chrono::microseconds FrameTimeLimit() const;

  /// Prints local date and time into the frames that follow (8-bit formats of at least 200 x 23 pixels).
  /// Any-thread.
  void SetTimeMark(bool on);

  /// Asks the GPS for the time of a frame at most every so often (0: of every frame); nothing: never, as at first.
  /// Of models with GPS. Each time costs 5 short requests before the frame is delivered; some 240 where the camera
  /// does not offer its latch in one. A video's frame whose latch has been replaced meanwhile has its time
  /// predicted from another frame's. Any-thread.
  void StampFrames(std::optional<std::chrono::milliseconds> every);

  /// Of models with GPS, while open: whether the lines at which time is taken are the region's first and last one
  /// and follow it. So they do at first, and until others are set by GPSSetLine or their controls. False also when
  /// the camera does not answer. Any-thread.
  bool GpsLinesFollow();
  /// True: sets them to those of the region, which they follow from now on. False: they stay where they are. False
  /// when the camera refuses. Any-thread.
  bool FollowGpsLines(bool follow);

  /// What is known about the frame that GetImageData returned last. Any-thread.
  FrameInfo LastFrame() const;
  /// Waits up to `waitMs` (negative: for ever) for a frame that was not fetched yet, and copies it into
  /// `buffer`: 1. 0 at once when capture has ended, failed or been stopped, and no frame is left; 0 on time-out; 0
  /// when `size` is too small (the frame stays). Frames that are not fetched before the next one are replaced and
  /// counted. A finished single exposure stays until it is fetched or the next capture starts. Any-thread.
  int GetFrame(unsigned char* buffer, int size, int waitMs, FrameInfo& info);
  /// The same without a copy, for `reader` (null: the default one, which GetFrame uses), as long as `goOn` says
  /// yes, which is asked like the mailbox's `mayCome`. Any-thread.
  FrameMailbox::Result AwaitFrame(FrameReader* reader, int waitMs, const std::function<bool()>& goOn,
                                  FramePtr& frame);
  /// Frames for further readers, and the memory that all frames live in. Any-thread.
  FrameMailbox& Mailbox();
  /// True from a capture's start until it has handed over its last frame, said why there is none, or been stopped.
  /// Any-thread.
  bool IsCapturing();
  /// Called by the worker of every capture that ends, whatever the reason, once `IsCapturing` says so. Set while
  /// no capture runs; must not call the camera.
  void OnCaptureEnd(std::function<void()> hook);
  /// Whether the instruments are read for a single exposure's frame before it is delivered (some short requests),
  /// and for a video's once a second. Off at first. Any-thread.
  void ReadWithFrames(bool on);

  /// Waits up to `waitMs` until the capture in a trigger mode listens: triggers before that are lost. False on
  /// time-out, and as soon as no such capture runs. Any-thread.
  bool AwaitTriggerReady(int waitMs);
  /// Sends a trigger to the capture that runs in a software-triggered mode, and waits for a capture that has just
  /// been started to listen. True when the camera took the request; a sensor that still exposes or reads out
  /// ignores it. False with a reason: another mode, no capture, or refused. Any-thread.
  bool SoftTrigger(std::string& reason);

  /// Why the capture that ran last ended by itself, as one line for a user; empty when it did not. Any-thread.
  std::string CaptureTrouble() const;
  /// Whether that was that there was no memory for its frames. Any-thread.
  bool CaptureLackedMemory() const;
  /// The link's counters, with the frames that the reader did not fetch in time added to `overwritten`.
  /// Any-thread.
  StreamCounters Counters() const;

 private:
  struct Worker;
  enum class StreamEnd { Stopped, Delivered, Failed };

  void DescribeModel();
  void AdoptFields();
  void StopWorkers();
  bool ProgramAll();
  bool ChangeGeometry(const FrameRegion& region, bool hardwareBin, std::string& reason);
  bool ChangeFrames(const std::function<bool()>& change, std::string& reason);
  std::uint32_t LineTimeNs() const;
  void RoundToSensor();
  void DescribeGain();
  RegisterBatch ExposureRegisters(std::uint64_t us) const;
  RegisterBatch ModeRegisters(int mode) const;
  bool WriteTogether(const RegisterBatch& batch, const RegisterBatch& previous);
  bool ProgramMode(int mode);
  void StoreGeometry(const FrameRegion& region, bool hardwareBin);
  bool IsOpen() const { return bOpened != 0; }

  static void RunCapture(bool* running, void* camera);
  static void RunTriggeredExposure(bool* running, void* camera);
  void Capture(bool* running, bool triggered);
  StreamEnd DeliverFrames(bool* running, bool triggered, FrameInfo& info, std::string& trouble);
  /// Whether binning makes one pixel of several colours.
  bool MixesColours(const FrameSetup& setup) const;
  bool PrepareFrame(const CirBuf::Frame& frame, FrameInfo& info);
  void StampFrame(const CirBuf::Frame& frame, std::uint32_t latch, bool mono, FrameInfo& info);
  using TimesOf = std::function<std::optional<RowTimes>(const FrameGps&)>;
  void MoveGpsLines();
  void FollowCadence(std::uint32_t latch, const TimesOf& timesOf, FrameInfo& info);
  bool IsDeliveredRaw(const FrameInfo& info) const;
  void TakeReadings(FrameInfo& info);
  void CorrectFrame();
  double DarkExcess();
  bool IsDarkTaken();
  bool IsOfCurrentSettings(const FrameInfo& info, int wbRed, int wbBlue) const;
  bool AutoCopyDue(const FrameInfo& info, int wbRed, int wbBlue);
  void OpenAutoGate(const FrameInfo& info, int wbRed, int wbBlue);
  void AdjustCorrections(bool otherBin);
  bool MayBringFrames() const;
  bool AskAgainForTriggers();
  bool ProgramTriggers();
  bool EnterKnownState();
  void CloseAutoGate();
  std::optional<int> SetClimate(ORQ_CONTROL_TYPE id, long value);

  const ModelData model_;
  std::unique_ptr<Worker> worker_;
  std::unique_ptr<Cooler> cooler_;  ///< of cooled models, else null
};

}  // namespace orq
