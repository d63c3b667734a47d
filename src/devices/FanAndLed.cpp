// Fan, power LED and USB hub: FPGA registers of the boards that have them.
#include <algorithm>
#include <cstdint>
#include <iterator>

#include "camera/CameraBase.h"
#include "controls/ModelQuirks.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace wire = orq::wire;

namespace {

constexpr unsigned char kAdjustable = 1;
constexpr unsigned char kAdjustableBoards[] = {5, 6};

constexpr unsigned char kFanHold = 0x80;
constexpr unsigned char kHubOn = 0x04;
constexpr unsigned char kHubReset = 2;

/// Asks the model; `operation` is the log tag of the refusal.
bool CanAdjust(CCameraBase& camera, const char* operation) {
  if (camera.FanAdjustCheck()) return true;
  DbgPrint(-1, operation, "not support");
  return false;
}

unsigned char ReadByte(CCameraBase& camera, std::uint16_t reg) {
  unsigned char value = 0;
  camera.ReadFPGAREG(reg, &value);
  return value;
}

}  // namespace

bool CCameraBase::FanAdjustCheck() {
  unsigned char capability = 0;
  if (!ReadFPGAREG(wire::kFpgaAdjustable, &capability) || capability != kAdjustable) return false;
  unsigned char board = 0;
  if (!GetMainBoardType(&board)) DbgPrint(-1, "FanAdjustCheck", "Failed to read main board type");
  return orq::quirks::HasAdjustableFan(iPID) ||
         std::ranges::find(kAdjustableBoards, board) != std::end(kAdjustableBoards);
}

bool CCameraBase::SetFanSpeed(int speed) {
  if (!CanAdjust(*this, "SetFanSpeed")) return false;
  const int control = ReadByte(*this, wire::kFpgaFanControl) & ~kFanHold;
  WriteFPGAREG(wire::kFpgaFanControl, static_cast<unsigned short>(control));
  return WriteFPGAREG(wire::kFpgaFanSpeed, static_cast<unsigned short>(speed));
}

int CCameraBase::GetFanSpeed() {
  return CanAdjust(*this, "GetFanSpeed") ? ReadByte(*this, wire::kFpgaFanSpeed) : 0;
}

bool CCameraBase::SetPowerLedBrightness(int level) {
  return CanAdjust(*this, "SetPowerLedBrightness") &&
         WriteFPGAREG(wire::kFpgaLed, static_cast<unsigned short>(level));
}

int CCameraBase::GetPowerLedBrightness() {
  return CanAdjust(*this, "GetPowerLedBrightness") ? ReadByte(*this, wire::kFpgaLed) : 0;
}

bool CCameraBase::ResetUSBHub() {
  WriteFPGAREG(wire::kFpgaHubCommand, kHubReset);
  // A state that cannot be read counts as the command itself: the hub is off in either case.
  unsigned char state = kHubReset;
  ReadFPGAREG(wire::kFpgaHubState, &state);
  return WriteFPGAREG(wire::kFpgaHubState, static_cast<unsigned short>(state & ~kHubOn));
}

bool CCameraBase::GetUSBHubOn() {
  return (ReadByte(*this, wire::kFpgaHubState) & kHubOn) != 0;
}
