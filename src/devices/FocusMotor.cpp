// The DW9800 voice-coil driver, which the camera's controller reaches for the host.
#include <cstdint>

#include "camera/CameraBase.h"
#include "support/DbgPrint.h"

namespace {

// Registers of the driver and of its calibration, each pair high byte first.
constexpr std::uint16_t kIdentity = 0;
constexpr std::uint16_t kPosition = 3;
constexpr std::uint16_t kCalibrationHigh = 5063;
constexpr std::uint16_t kCalibrationLow = 5065;

/// Reads `reg` and the one behind it as one number. Only the second read tells success; a first one that fails
/// counts as zero. `operation` is the log tag.
int ReadPair(CCameraBase& camera, const char* operation, unsigned char req, std::uint16_t reg, int* value) {
  unsigned char high = 0;
  unsigned char low = 0;
  camera.SendCMD(req, reg, 0, true, &high, 1);
  if (!camera.SendCMD(req, static_cast<unsigned short>(reg + 1), 0, true, &low, 1)) return 0;
  const int number = high * 256 + low;
  DbgPrint(-1, operation, "high 0x%02x, low 0x%02x: %d\n", high, low, number);
  if (value != nullptr) *value = number;
  return 1;
}

}  // namespace

int CCameraBase::GetDW9800ID(unsigned char req, unsigned char* id) {
  unsigned char byte = 0;
  if (!SendCMD(req, kIdentity, 0, true, &byte, 1)) return 0;
  DbgPrint(-1, "GetDW9800ID", "id 0x%02x\n", byte);
  if (id != nullptr) *id = byte;
  return 1;
}

int CCameraBase::GetDW9800POS(unsigned char req, int* pos) {
  return ReadPair(*this, "GetDW9800POS", req, kPosition, pos);
}

void CCameraBase::SetDW9800POS(unsigned char req, int pos) {
  SendCMD(req, kPosition, static_cast<unsigned short>((pos >> 8) & 0xFF), false, nullptr, 0);
  if (!SendCMD(req, kPosition + 1, static_cast<unsigned short>(pos & 0xFF), false, nullptr, 0)) return;
  DbgPrint(-1, "SetDW9800POS", "position 0x%02x\n", static_cast<unsigned>(pos));
}

int CCameraBase::GetDW9800AFH(unsigned char req, int* value) {
  return ReadPair(*this, "GetDW9800AFH", req, kCalibrationHigh, value);
}

int CCameraBase::GetDW9800AFL(unsigned char req, int* value) {
  return ReadPair(*this, "GetDW9800AFL", req, kCalibrationLow, value);
}
