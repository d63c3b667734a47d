// Camera models for tests: one with nothing of its own, one that overrides and records every virtual operation.
#pragma once

#include <cstdio>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "camera/CameraBase.h"
#include "support/FakePort.h"

namespace orq::test {

inline constexpr std::int32_t kVendor = 0x1234;
inline constexpr std::int32_t kProduct = 0x5678;

/// Only what the base leaves abstract, and that refuses.
class BareCamera : public CCameraBase {
 public:
  BareCamera() {
    iVID = kVendor;
    iPID = kProduct;
    UsePort(port);
  }
  int ReservedModelOp1() override { return 0; }
  int ReservedModelOp2() override { return 0; }
  int ReservedModelOp3() override { return 0; }
  bool SetGain(int, bool) override { return false; }
  bool SetWB(int, int, bool) override { return false; }
  bool SetExp(unsigned long long, bool) override { return false; }
  int GetImageData(unsigned char*, int, int) override { return 0; }

  std::shared_ptr<FakePort> port = std::make_shared<FakePort>();
};

/// Overrides the whole table. Each call is noted as text with its arguments; setters answer `succeed`, getters
/// what is scripted below; opening, closing and the control operations go on to the base.
class RecordingCamera : public CCameraBase {
 public:
  RecordingCamera() {
    iVID = kVendor;
    iPID = kProduct;
    UsePort(port);
  }

  /// The calls so far, oldest first; forgets them.
  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }

  int OpenCamera(int index) override {
    Note("OpenCamera", index);
    if (openResults.empty()) return CCameraBase::OpenCamera(index);
    const int result = openResults.front();
    openResults.pop_front();
    return result;
  }
  int ReservedModelOp1() override { return Note("ReservedModelOp1"), 0; }
  void CloseCamera() override {
    Note("CloseCamera");
    if (!ignoreClose) CCameraBase::CloseCamera();
  }
  int ReservedModelOp2() override { return Note("ReservedModelOp2"), 0; }
  int ReservedModelOp3() override { return Note("ReservedModelOp3"), 0; }
  bool SetGain(int value, bool on) override { return Note("SetGain", value, on), succeed; }
  int GetGain(bool* on) override {
    Note("GetGain");
    *on = gainIsAuto;
    return 321;
  }
  int SetGamma(int value) override { return Note("SetGamma", value), succeed ? 1 : 0; }
  int GetGamma() override { return Note("GetGamma"), 77; }
  bool SetBrightness(int value) override { return Note("SetBrightness", value), succeed; }
  bool SetHighSpeedMode(bool on) override { return Note("SetHighSpeedMode", on), succeed; }
  bool SetHardwareBin(bool on) override { return Note("SetHardwareBin", on), succeed; }
  bool SetEnableDDR(bool on) override { return Note("SetEnableDDR", on), succeed; }
  bool SetFPSPerc(int value, bool on) override { return Note("SetFPSPerc", value, on), succeed; }
  bool SetOverCLKPerc(int value) override { return Note("SetOverCLKPerc", value), succeed; }
  bool SetWB(int red, int blue, bool on) override { return Note("SetWB", red, blue, on), succeed; }
  void SetPattern(int value) override { Note("SetPattern", value); }
  bool SetExp(unsigned long long us, bool on) override {
    return Note("SetExp", static_cast<long long>(us), on), succeed;
  }
  int GetImageData(unsigned char* buffer, int size, int waitMs) override {
    Note("GetImageData", size, waitMs);
    imageBuffer = buffer;
    return imageResult;
  }
  float GetSensorTempInside() override { return Note("GetSensorTempInside"), insideTemperature; }
  bool IsHardBinRun() override { return Note("IsHardBinRun"), false; }
  int SetControlValue(ORQ_CONTROL_TYPE id, long value, bool on) override {
    Note("SetControlValue", id, value, on);
    return CCameraBase::SetControlValue(id, value, on);
  }
  int GetControlValue(ORQ_CONTROL_TYPE id, long* value, ORQ_BOOL* on) override {
    Note("GetControlValue", id);
    return CCameraBase::GetControlValue(id, value, on);
  }
  float GetTemp() override { return Note("GetTemp"), temperature; }
  int GetRollingInterval(int& interval) override {
    Note("GetRollingInterval");
    if (rollingInterval < 0) return 0;
    interval = rollingInterval;
    return 1;
  }
  int GetSHR0Time(float&) override { return Note("GetSHR0Time"), 0; }
  bool FanAdjustCheck() override { return Note("FanAdjustCheck"), fanAdjustable; }
  bool SetFanSpeed(int value) override { return Note("SetFanSpeed", value), succeed; }
  int GetFanSpeed() override { return Note("GetFanSpeed"), 201; }
  bool SetPowerLedBrightness(int value) override { return Note("SetPowerLedBrightness", value), succeed; }
  int GetPowerLedBrightness() override { return Note("GetPowerLedBrightness"), 202; }
  bool ResetUSBHub() override { return Note("ResetUSBHub"), succeed; }
  bool GetUSBHubOn() override { return Note("GetUSBHubOn"), hubOn; }
  int GetRealExpTime(int) override { return Note("GetRealExpTime"), 0; }

  // The script.
  std::shared_ptr<FakePort> port = std::make_shared<FakePort>();
  std::deque<int> openResults;  ///< answers of the next opens; then the base opens
  bool ignoreClose = false;
  bool succeed = true;
  bool gainIsAuto = false;
  bool fanAdjustable = false;
  bool hubOn = false;
  float temperature = 0.0F;
  float insideTemperature = 0.0F;
  int rollingInterval = -1;  ///< negative: unknown
  int imageResult = 1;
  const unsigned char* imageBuffer = nullptr;  ///< what GetImageData was given

  std::vector<std::string> calls;

 private:
  template <class... Args>
  void Note(const char* name, Args... args) {
    std::string text = name;
    ((text += ' ', text += std::to_string(args)), ...);
    calls.push_back(std::move(text));
  }
};

}  // namespace orq::test
