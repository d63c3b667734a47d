// GPS block: presence, version, latch lines, and which decoder reads it.
#include "camera/CameraBase.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace wire = orq::wire;

namespace {

constexpr unsigned char kLastBoardWithoutGps = 2;
constexpr unsigned char kGpsPresent = 1;

constexpr int kStartLine = 0;
constexpr int kEndLine = 1;

/// The register of a line's low byte; the high byte follows.
unsigned short LineRegister(int which) {
  return which == kStartLine ? wire::kFpgaGpsStartLine : wire::kFpgaGpsEndLine;
}

}  // namespace

bool CCameraBase::GPSCheck() {
  unsigned char boardType = 0;
  if (!ReadFPGAREG(wire::kFpgaType, &boardType)) {
    DbgPrint(-1, "GPSCheck", "Failed to get main board type\n");
    return false;
  }
  if (boardType <= kLastBoardWithoutGps) return false;
  unsigned char status = 0;
  return ReadFPGAREG(wire::kFpgaGpsStatus, &status) && (status & kGpsPresent) != 0;
}

int CCameraBase::GPSVer() {
  unsigned char status = 0;
  if (!ReadFPGAREG(wire::kFpgaGpsStatus, &status) || (status & kGpsPresent) == 0) return -1;
  return status >> 1;
}

int CCameraBase::GPSSetLine(int which, int line) {
  if ((which != kStartLine && which != kEndLine) || line < 0 || line >= iMaxHeight) return CTRL_BAD_LINE;
  const unsigned short low = LineRegister(which);
  const auto high = static_cast<unsigned short>(low + 1);
  const auto hold = LockUpdateHold();
  WriteFPGAREG(wire::kFpgaUpdateHold, 1);
  bool written = WriteFPGAREG(low, static_cast<unsigned short>(line & 0xFF));
  if (written) written = WriteFPGAREG(high, static_cast<unsigned short>((line >> 8) & 0xFF));
  WriteFPGAREG(wire::kFpgaUpdateHold, 0);
  return written ? CTRL_OK : CTRL_REG_FAILED;
}

int CCameraBase::GPSGetLine(int which, int& line) {
  const unsigned short low = LineRegister(which);
  unsigned char lowByte = 0;
  unsigned char highByte = 0;
  if (!ReadFPGAREG(low, &lowByte) || !ReadFPGAREG(static_cast<unsigned short>(low + 1), &highByte))
    return CTRL_REG_FAILED;
  line = lowByte + 256 * highByte;
  return CTRL_OK;
}

int CCameraBase::GPSGetData(_ORQ_GPS_DATA* start, _ORQ_GPS_DATA* end) {
  if (!GPSCheck()) {
    DbgPrint(-1, "GPSGetData", "the camera do not support GPS\n");
    return CTRL_GET_FAILED;
  }
  const int version = GPSVer();
  if (version <= 0) {
    DbgPrint(-1, "GPSGetData", "the current GPS ver is %d but wanted >= 1", version);
    return CTRL_GPS_VER_TOO_LOW;
  }
  return ParseGPSData_Ver1(start, end);
}

int CCameraBase::ParseGPSData(unsigned char* buffer, _ORQ_GPS_DATA* out) {
  const int version = GPSVer();
  DbgPrint(-1, "ParseGPSData", "GPS ver: %d\n", version);
  switch (version) {
    case 0:
      return ParseGPSData_Ver0(buffer, out);
    case 1:
      return ParseGPSData_Ver1(out, nullptr);
    default:
      DbgPrint(-1, "ParseGPSData", "Unrecognized GPS ver: %d\n", version);
      return CTRL_GPS_DATA_INVALID;
  }
}
