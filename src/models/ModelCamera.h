// A camera driven by its model's data: the class that applications use.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "camera/CameraBase.h"
#include "models/FrameTypes.h"
#include "models/ModelData.h"

namespace orq {

/// One camera of any of the models.
///
/// Setters of control values are any-thread (the application and the automatic-control worker may call them at
/// once). While the camera is closed they only store; opening programs everything that is stored. While it is open
/// they program the hardware first: a refused register write returns false and leaves both the stored value and,
/// as far as the device still listens, the registers as they were.
class CModelCamera : public CCameraBase {
 public:
  /// Loads the model's settings from the settings file, within the model's limits.
  explicit CModelCamera(const ModelData& model);
  /// Stops capture and closes.
  ~CModelCamera() override;

  /// Programs everything that is stored, brought within the model's limits.
  int OpenCamera(int index) override;
  int ReservedModelOp1() override;
  int ReservedModelOp2() override;
  int ReservedModelOp3() override;
  /// `gain` is clamped to the model's limits.
  bool SetGain(int gain, bool autoGain) override;
  /// `offset` is clamped to the model's limits.
  bool SetBrightness(int offset) override;
  /// Has an effect at bin 2 and 4. Caller-serialised with starting and stopping: a running capture is restarted
  /// when the frames on the wire change.
  bool SetHardwareBin(bool on) override;
  /// Percent of the full readout rate, clamped to the model's limits. `autoFPS` is stored.
  bool SetFPSPerc(int percent, bool autoFPS) override;
  /// White balance (1 to 99, 50 neutral), applied on the host from the next frame on. False on monochrome cameras.
  bool SetWB(int red, int blue, bool autoWB) override;
  /// `exposureUs` is clamped to the model's limits. `expReg` becomes the exposure in sensor lines.
  bool SetExp(unsigned long long exposureUs, bool autoExp) override;
  /// `GetFrame` without the frame's facts.
  int GetImageData(unsigned char* buffer, int size, int waitMs) override;
  /// True while the frame arrives binned: hardware binning is on and the bin is 2, or 4 (where the FPGA bins by 2
  /// and the host by 2). Never at bin 3.
  bool IsHardBinRun() override;

  const ModelData& Model() const { return model_; }

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
  /// Bytes of one delivered frame of the current region.
  int FrameBytes() const;

  /// What is known about the frame that GetImageData returned last. Any-thread.
  FrameInfo LastFrame() const;
  /// Waits up to `waitMs` (negative: for ever) for a frame that was not fetched yet, and copies it into
  /// `buffer`: 1. 0 at once when capture has ended, failed or been stopped, and no frame is left; 0 on time-out; 0
  /// when `size` is too small (the frame stays). Frames that are not fetched before the next one are replaced and
  /// counted. A finished single exposure stays until it is fetched or the next capture starts. Any-thread.
  int GetFrame(unsigned char* buffer, int size, int waitMs, FrameInfo& info);

  /// Why the capture that ran last ended by itself, as one line for a user; empty when it did not. Any-thread.
  std::string CaptureTrouble() const;
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
  void StoreGeometry(const FrameRegion& region, bool hardwareBin);
  bool IsOpen() const { return bOpened != 0; }

  static void RunCapture(bool* running, void* camera);
  static void RunTriggeredExposure(bool* running, void* camera);
  void Capture(bool* running, bool triggered);
  StreamEnd DeliverFrames(bool* running, bool triggered, FrameInfo& info, std::string& trouble);
  bool PrepareFrame(const CirBuf::Frame& frame, FrameInfo& info);
  void AwaitWorkerEnd() const;

  const ModelData model_;
  std::unique_ptr<Worker> worker_;
};

}  // namespace orq
