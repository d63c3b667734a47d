// The camera object that all models share.
#pragma once

#include <memory>

#include "autoctl/AutoControlState.h"
#include "camera/CMutex.h"
#include "camera/CameraFX3.h"
#include "camera/CameraState.h"
#include "camera/ThreadCtrl.h"
#include "controls/ControlState.h"
#include "controls/ControlTypes.h"
#include "devices/DeviceState.h"
#include "image/IdentityTypes.h"
#include "image/ImageState.h"
#include "settings/SettingsState.h"
#include "support/Algorithm.h"
#include "support/CirBuf.h"

/// One physical camera. A model derives from it: its constructor sets identity, geometry, limits and flags and
/// calls `InitVariable`; it supplies the abstract operations and the worker functions.
///
/// All fields are public and live in the structs that the class inherits, each with its contract there. Every
/// virtual operation is called through the table, also from inside the class. Nothing throws. A result whose pointer
/// is null is not delivered; reading identities and capabilities into nothing fails.
///
/// Thread words: opening, closing, reconnecting, starting and stopping are caller-serialised; reading and
/// setting control values is any-thread.
class CCameraBase : public CCameraFX3,
                    public orq::IdentityState,
                    public orq::GeometryState,
                    public orq::ControlValues,
                    public orq::CapabilityFlags,
                    public orq::ControlListState,
                    public orq::CaptureState,
                    public orq::FrameBuffers,
                    public orq::GammaState,
                    public orq::HotPixelState,
                    public orq::DarkFrameState,
                    public orq::SettingsState,
                    public orq::AutoControlState,
                    public orq::TemperatureState {
 public:
  CCameraBase();

  // Virtual operations, in slot order (the destructor takes slots 0 and 1). The order is part of the binary
  // interface and checked by a test.
  virtual ~CCameraBase();
  /// Opens the `index`-th camera of this model's ids: 1 when open (already or now), 0 on failure.
  virtual int OpenCamera(int index);
  virtual int ReservedModelOp1() = 0;  ///< for the model's own use; never called here
  /// Stops capture and closes the device; nothing when closed.
  virtual void CloseCamera();
  virtual int ReservedModelOp2() = 0;  ///< for the model's own use; never called here
  virtual int ReservedModelOp3() = 0;  ///< for the model's own use; never called here
  /// Applies and stores a gain setting; true on success.
  virtual bool SetGain(int gain, bool autoGain) = 0;
  virtual int GetGain(bool* autoGain);
  /// Rebuilds the gamma tables for 0..100 (50 neutral): 1, or 0 when not available.
  virtual int SetGamma(int gamma);
  virtual int GetGamma();
  virtual bool SetBrightness(int offset);
  virtual bool SetHighSpeedMode(bool on);
  virtual bool SetHardwareBin(bool on);
  virtual bool SetEnableDDR(bool on);
  virtual bool SetFPSPerc(int percent, bool autoFPS);
  virtual bool SetOverCLKPerc(int percent);
  virtual bool SetWB(int red, int blue, bool autoWB) = 0;
  virtual void SetPattern(int pattern);
  /// Applies and stores an exposure in µs; true on success.
  virtual bool SetExp(unsigned long long exposureUs, bool autoExp) = 0;
  /// Waits up to `waitMs` for a frame and copies it into `buffer` of `size` bytes: 1, or 0 on time-out or when
  /// it does not fit.
  virtual int GetImageData(unsigned char* buffer, int size, int waitMs) = 0;
  /// Temperature of the image sensor's own thermometer, degrees Celsius; 0 without one.
  virtual float GetSensorTempInside();
  /// True while the frame arrives binned.
  virtual bool IsHardBinRun();
  /// Clamps `value` to the catalogue's limits and acts: a ControlResult. A model overrides it to serve more.
  virtual int SetControlValue(ORQ_CONTROL_TYPE id, long value, bool autoOn);
  /// Reads a control: a ControlResult. `*autoOn` is always written, `*value` unless the control is not supported.
  virtual int GetControlValue(ORQ_CONTROL_TYPE id, long* value, ORQ_BOOL* autoOn);
  /// Sensor temperature, degrees Celsius.
  virtual float GetTemp();
  /// Time between two sensor lines in units of 0.1 µs; 0 (argument untouched) when unknown.
  virtual int GetRollingInterval(int& interval);
  /// Offset of the sensor's SHR0 timing in µs; 0 (argument untouched) when unknown.
  virtual int GetSHR0Time(float& time);
  virtual bool FanAdjustCheck();
  virtual bool SetFanSpeed(int speed);
  virtual int GetFanSpeed();
  virtual bool SetPowerLedBrightness(int level);
  virtual int GetPowerLedBrightness();
  virtual bool ResetUSBHub();
  virtual bool GetUSBHubOn();
  /// Length of the last exposure in ms, or -1.
  virtual int GetRealExpTime(int ticksPerMs);

  // Lifecycle.
  /// Allocates the image buffers and starts the ring's thread; after the model has set the sensor's size and Bayer
  /// pattern, once. Throws std::bad_alloc only.
  void InitVariable();
  /// Closes and opens again: 1 reconnected, 0 failed (then nothing is open).
  int ReConnectCamera();
  /// Logs the host system's names.
  void SysInfo();
  void SetMemSave(bool on);  ///< does nothing
  /// The FPGA's host bit and capture bit. Switching one off clears every bit of the register but the other one.
  void TellFpgaUsbHostType(bool usb3);
  void TellFpgaCaptureMode(bool snap);
  int StartSensorCLK();  ///< 1, or 0 when the camera refused
  int StopSensorCLK();   ///< 1, or 0 when the camera refused
  /// Tells the controller how many 49,152-byte blocks a frame of `bytes` bytes takes, rounded up.
  void SetTransferCount(int bytes);

  // Debug log.
  /// A debug line with this open's number in front.
  void DbgPrint2(const char* func, const char* format, ...) __attribute__((format(printf, 3, 4)));
  int EnableDebugLog(ORQ_BOOL on);  ///< 1 switches the process's log on, anything else off; returns 1
  int GetDebugLogIsEnabled(ORQ_BOOL* on);

  // Capture.
  /// 1 when capture runs (already or now), 0 when closed or the worker could not start.
  int StartCapture(bool snap);
  int StartExposure();  ///< a capture in snap mode
  /// 1, or 0 when the camera is closed while a worker still runs.
  int StopCapture();
  bool IsCaptureRunning() const;
  int StartAutoControlThr();
  void StopAutoControlThr();
  /// Fetches the frame of a finished single exposure (waits up to 10 s); 0 when none is finished.
  int GetImageAfterExp(unsigned char* buffer, int size);

  // Control catalogue. Any-thread, once the model's limits and flags are set.
  /// Describes control `id`, all but `controlType`: 1, or 0 (record untouched) for an id that is none.
  int GetCtrllCaps(ORQ_CONTROL_TYPE id, _ORQ_CONTROL_CAPS* caps);
  /// Rebuilds `controlList` and `controlCount`; asks the device where only it can tell.
  void GetNumOfControls();
  /// Describes the `index`-th control of the list: 1, or 0 outside it. `controlType` is written in any case: with
  /// the entry at `index`, with `ORQ_GAIN` outside the 64 entries.
  int GetControlCaps(int index, _ORQ_CONTROL_CAPS* caps);
  /// Rebuilds the list and looks `type` up.
  bool IsAvailable(Control_TYPE type);
  /// The public id of an internal one; `ORQ_GAIN` for a value that is none.
  ORQ_CONTROL_TYPE ControlConv(Control_TYPE type);
  bool IsImgTypeSupported(IMG_TYPE type);
  bool IsAutoSupported(Control_TYPE type);
  int GetMin(Control_TYPE type);
  int GetMax(Control_TYPE type);

  // Control values.
  /// Reads a control by its internal id; 0 when it cannot be read (the result code is dropped).
  long GetValue(Control_TYPE type, bool* autoOn);
  /// Parameters of automatic control: setting, ms, mean 0..255. Not checked.
  void SetAutoPara(int maxGain, int maxExpMs, int targetBrightness);
  void GetAutoPara(int* maxGain, int* maxExpMs, int* targetBrightness);

  // Identity.
  /// Reads `len` bytes at `offset` of the flash's parameter page.
  bool ReadSPI(unsigned char* dst, int offset, int len);
  bool GetIDFromSPI(_ORQ_ID* id);
  bool GetSerialNumber(_ORQ_ID* sn);

  // Owned objects, in the order of their construction.
  CMutex HPCMutex;         ///< guards the hot-pixel list and the row and column flags
  CMutex DarkListMutex;    ///< guards the dark pixel list
  CMutex DarkAccumMutex;   ///< guards pDarkFull
  CMutex DarkBufMutex;     ///< guards pDarkBuf and its average
  ThreadCtrl captureThr;   ///< capture worker, normal mode; function set by the model
  ThreadCtrl exposureThr;  ///< exposure worker, trigger modes; function set by the model
  CAlgorithm algorithm;
  ThreadCtrl autoThr;            ///< automatic-control worker
  std::unique_ptr<CirBuf> ring;  ///< frames from the stream; made by InitVariable
};
