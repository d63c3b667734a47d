// What the host tells the FPGA and the controller about itself and its transfers.
#include "camera/CameraBase.h"
#include "link/WireProtocol.h"

namespace wire = orq::wire;

// Both writers of the host mode register keep only the other one's bit when they clear their own: the register
// has no further bits, and what else it may read is not to be written back.

void CCameraBase::TellFpgaUsbHostType(bool usb3) {
  unsigned char mode = 0;
  ReadFPGAREG(wire::kFpgaHostMode, &mode);
  WriteFPGAREG(wire::kFpgaHostMode,
               static_cast<unsigned short>(usb3 ? mode | wire::kHostUsb3 : mode & wire::kHostSnap));
}

void CCameraBase::TellFpgaCaptureMode(bool snap) {
  unsigned char mode = 0;
  ReadFPGAREG(wire::kFpgaHostMode, &mode);
  WriteFPGAREG(wire::kFpgaHostMode,
               static_cast<unsigned short>(snap ? mode | wire::kHostSnap : mode & wire::kHostUsb3));
}

int CCameraBase::StartSensorCLK() {
  if (!SendCMD(wire::kReqStartSensorClock)) return 0;
  sensorClockStopped = 0;
  return 1;
}

int CCameraBase::StopSensorCLK() {
  if (!SendCMD(wire::kReqStopSensorClock)) return 0;
  sensorClockStopped = 1;
  return 1;
}

void CCameraBase::SetTransferCount(int bytes) {
  // Division cuts toward zero, which already is the ceiling of a negative quotient.
  const int blocks = bytes / wire::kBlockBytes + (bytes % wire::kBlockBytes > 0 ? 1 : 0);
  SendCMD(wire::kReqTransferCount, static_cast<unsigned short>(blocks >> 16),
          static_cast<unsigned short>(blocks & 0xFFFF), false, nullptr, 0);
}
