// The camera object that all models share.
#pragma once

#include <memory>

#include "autoctl/AutoControlState.h"
#include "camera/CameraModeTypes.h"
#include "camera/CameraState.h"
#include "controls/CameraInfoTypes.h"
#include "controls/ControlState.h"
#include "controls/ControlTypes.h"
#include "devices/DeviceState.h"
#include "devices/GuideTypes.h"
#include "gps/GpsTypes.h"
#include "image/IdentityTypes.h"
#include "image/ImageState.h"
#include "image/frame/Algorithm.h"
#include "image/timemark/TimeMarkTypes.h"
#include "link/CameraFX3.h"
#include "link/stream/CirBuf.h"
#include "settings/SettingsState.h"
#include "support/threads/CMutex.h"
#include "support/threads/ThreadCtrl.h"

/// One physical camera. A model derives from it: its constructor sets identity, geometry, limits and flags and
/// calls `InitVariable`; it supplies the abstract operations and the worker functions.
///
/// All fields are public and live in the structs that the class inherits, each with its contract there. Every
/// virtual operation is called through the table, also from inside the class. Nothing throws. A result whose
/// pointer is null is not delivered; reading identities and capabilities into nothing fails.
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
  /// Reads a control: a ControlResult. `*autoOn` is always written, `*value` unless unsupported or a line
  /// unreadable.
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
  /// 1 when capture runs (already or now), 0 when closed or the worker could not start. A capture that has come to
  /// its end, as `expStatus` shows, is not one that runs, though its worker may still be about to return.
  int StartCapture(bool snap);
  int StartExposure();  ///< a capture in snap mode
  /// 1, or 0 when the camera is closed while a worker still runs.
  int StopCapture();
  bool IsCaptureRunning() const;
  /// Waits, 10 s at most, for a capture worker that has announced its end. Any-thread, never from a worker.
  void AwaitEndingWorker();
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

  /// Fills the information record but for `cameraId`; nothing when `info` is null.
  void GetCameraProperty(_ORQ_CAMERA_INFO* info);

  // Camera modes and trigger outputs. Caller-serialised.
  /// Learns from the FPGA which trigger modes it has.
  void CameraModeCheck();
  int GetCameraSupportedMode(_ORQ_SUPPORTED_MODE* modes);  ///< 1
  /// A CameraModeResult; refused while capture runs, not while it is about to end.
  int SetCameraMode(CAM_MODE mode);
  /// Stops capture, programs the trigger input for `mode` and applies the exposure again: 1.
  int SelectCameraMode(CAM_MODE mode);
  /// Output `pin`: a pulse of `duration` µs, `delay` µs after the exposure begins; a duration of 0 or less
  /// switches it off. A CameraModeResult.
  int SetTrigOutPinConf(Trig_Output_Pin pin, bool pinHigh, long delay, long duration);
  int GetTrigOutPinConf(Trig_Output_Pin pin, ORQ_BOOL* pinHigh, long* delay, long* duration);

  // Mono bin.
  void SetMonoBin(bool on);
  bool GetMonoBin();

  // Hot pixels. The first three are worker-only, the others caller-serialised with geometry changes.
  /// Repairs the frame in `pImgBuf` from the hot-pixel list, the row and column flags and the dark pixel list.
  void HandleHotPixels();
  /// The sample at `pos` becomes the mean of its usable neighbours of the same colour; false without a map.
  bool DeNoiseHPC(int x, int y, int pos);
  /// Position whose value is copied onto the border pixel `list[index]` of a 16-bit frame; `list` holds
  /// `iHPCCount` entries.
  int GetSuitableReplacePos(int index, unsigned int* list, int step, int width, int height, bool atEnd);
  /// Switches the correction; switching on loads the table from flash. False (and off) when that fails.
  bool SetHPCStates(bool on);
  bool LoadHPCTable();
  /// Makes the table from the dark image and saves it in flash.
  bool SaveHPCTable();
  /// Whether the geometry differs from the last adjustment, or one is forced.
  bool IsHPCChange();
  /// Cuts map, list and row flags for the current geometry.
  void AdjustHPCTable();

  // Dark frame. DoGetDark and SubtractDark are worker-only.
  /// Starts or stops collecting a dark; the number of frames that it takes.
  int GettingDark(bool on, unsigned long long exposure);
  void DoGetDark();
  /// Cuts the dark image, its average and its pixel list for the current geometry.
  void AdjustDarkBuff();
  /// Switches dark subtraction; switching off frees the dark images. Any-thread.
  void UsingDark(bool on);
  void SubtractDark();

  // Flash. Caller-serialised; the image bus is released while they run.
  /// The record of `size` bytes at `src`: a compressed bitmap (`bHPC`) or a plain image; its length in
  /// `outLength`.
  std::unique_ptr<unsigned char[]> Compress(const unsigned char* src, int size, int* outLength, bool bHPC);
  /// Expands a record of `length` bytes: the sensor's bitmap (`bHPC`) or `length` bytes, zero behind the body.
  /// Null when an entry lies outside the bitmap.
  std::unique_ptr<unsigned char[]> Uncompress(const unsigned char* record, int length, bool bHPC);
  bool CompressAndWriteIntoFLASH(const unsigned char* src, unsigned int size, bool bHPC);
  bool ReadFromFLAHAndUnCompress(unsigned char* dst, unsigned int size, bool bHPC);
  /// Reads or stores `len` bytes at `offset` of the flash's parameter page. Storing erases the rest of its sector.
  bool ReadSPI(unsigned char* dst, int offset, int len);
  bool WriteSPI(const unsigned char* src, int offset, int len);

  // BMP reference files. Caller-serialised.
  /// Writes an 8-bit greyscale file; false when it cannot be opened. `data` holds the image's bytes as the file
  /// has them: `height` times `width` rounded up to 4.
  bool CreateBMP(int width, int height, const unsigned char* data, const char* path);
  bool SaveBMPToFile(const char* path);   ///< the dark image; always true
  int LoadBMPFromFile(const char* path);  ///< 1 loaded, 0 unreadable or wrong format, 6 cannot open, 7 wrong size

  /// Prints local date and time into a frame of `width` columns and `iHeight` rows. Worker-only.
  void AddTimeMark(unsigned char* buffer, int width, IMAGE_TYPE type);

  // Identity.
  bool SetIDToSPI(_ORQ_ID id);
  bool GetIDFromSPI(_ORQ_ID* id);
  bool GetSerialNumber(_ORQ_ID* sn);

  // Settings file. Caller-serialised.
  void InitSubKey();
  int SaveSetting();
  int LoadSetting();

  // Automatic control. Worker-only.
  /// One measurement of `frame` and the adjustment of gain and exposure that follows.
  int AutoExpGain(unsigned char* frame);
  void AutoWhiBal(unsigned char* frame);
  void AutoWB_RAW(unsigned char* frame);

  // Temperature, degrees Celsius. Any-thread. A reading that fails is answered with the last good one.
  float GetSensorTemp();
  float GetTMP100Temp();
  float GetTMP451Temp();
  float GetADC081Temp();
  float GetAD7142Temp();
  /// Thermistor below a resistor of `rref` kΩ, by 12-bit or 8-bit counts.
  float CalculTempuature(int adc, int rref);
  float CalculTempuature(unsigned char adc, int rref);
  float RemedyTemp(float t);  ///< correction of a reported temperature, for models that need it
  float GetADS1014ADC();      ///< volts; 0 when it cannot be read

  // Guide port. Any-thread; always true.
  bool PulseGuideOn(GuideD d);
  bool PulseGuideOff(GuideD d);
  bool pulseGuide(GuideD d, int ms);  ///< blocks for the pulse's length

  // Focus motor and sensor identity. `req` is the model's request code; 0 when the last read failed.
  int GetDW9800ID(unsigned char req, unsigned char* id);
  int GetDW9800POS(unsigned char req, int* pos);
  void SetDW9800POS(unsigned char req, int pos);
  int GetDW9800AFH(unsigned char req, int* value);
  int GetDW9800AFL(unsigned char req, int* value);
  /// 22 hexadecimal digits into a zeroed buffer of at least 23 bytes.
  void GetIMX582SensorId(unsigned char* text);

  // GPS. Any-thread; results are ControlResults unless said otherwise.
  bool GPSCheck();  ///< whether the camera has a usable GPS block
  int GPSVer();     ///< the block's version, or -1
  /// The line at which time is latched: `which` 0 start, 1 end; `line` in sensor lines.
  int GPSSetLine(int which, int line);
  int GPSGetLine(int which, int& line);  ///< any `which` but 0 reads the end line
  int GPSGetData(_ORQ_GPS_DATA* start, _ORQ_GPS_DATA* end);
  /// Decodes one record by the block's version; the result means nothing for unknown versions.
  int ParseGPSData(unsigned char* buffer, _ORQ_GPS_DATA* out);
  int ParseGPSData_Ver0(unsigned char* block, _ORQ_GPS_DATA* out);  ///< `block` holds 56 bytes; always 1
  int ParseGPSData_Ver1(_ORQ_GPS_DATA* start, _ORQ_GPS_DATA* end);
  int ReadGPSDataFromFPGA_Ver1(int line, _ORQ_GPS_DATA* out);  ///< line 0 start, else end
  int ParseGPSData_Ver1_SingleLine(unsigned char* block, _ORQ_GPS_DATA* out, bool isStart);
  /// `t` advanced by `us` µs, carrying one second at most.
  _ORQ_DATE_TIME DateTimeAdd(_ORQ_DATE_TIME t, long long us);

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
