// The camera object's side of the two record decoders: reads the blocks, adds the sensor's offset, logs.
#include <array>
#include <span>

#include "camera/CameraBase.h"
#include "gps/DateTime.h"
#include "gps/GpsRecordV0.h"
#include "gps/GpsRecordV1.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"
#include "support/HexText.h"

namespace wire = orq::wire;

namespace {

constexpr const char* kV0Tag = "ParseGPSData_Ver0";
constexpr const char* kReadTag = "ReadGPSDataFromFPGA_Ver1";
constexpr const char* kLineTag = "ParseGPSData_Ver1_SingleLine";

constexpr std::size_t kV0DumpedBytes =
    47;  // as many as fit a log line, and all that is decoded before the altitude

void LogV0Block(std::span<const std::uint8_t, orq::kGpsV0Bytes> block) {
  if (!g_bDebugPrint) return;
  DbgPrint(-1, kV0Tag, "ParseGPSData,%s\n", orq::HexText(block.first(kV0DumpedBytes)).c_str());
  DbgPrint(-1, kV0Tag, "ParseGPSData altitude,%s\n", orq::HexText(block.subspan(orq::kGpsV0AltitudeAt)).c_str());
}

void LogV1Block(orq::GpsV1Block block) {
  if (!g_bDebugPrint) return;
  const auto time = block.first<orq::kGpsV1LatitudeSideAt>();
  const auto location = block.subspan<orq::kGpsV1LatitudeSideAt>();
  DbgPrint(-1, kReadTag, "GPS Time:%s\n", orq::HexText(time, {1, 6, 9, 8}).c_str());
  DbgPrint(-1, kReadTag, "GPS Location:%s\n", orq::HexText(location, {1, 10, 1, 11, 6, 2}).c_str());
}

/// One line for the fault; CTRL_GPS_DATA_INVALID.
int Invalid(orq::GpsV1Fault fault, orq::GpsV1Block block, const _ORQ_DATE_TIME& time) {
  using orq::GpsV1Fault;
  switch (fault) {
    case GpsV1Fault::None:
      break;
    case GpsV1Fault::TimeFlag:
      DbgPrint(-1, kLineTag, "FPGA GPS time flag register wanted 'A' but get '%c'\n",
               block[orq::kGpsV1TimeFlagAt]);
      break;
    case GpsV1Fault::Year:
      DbgPrint(-1, kLineTag, "Invalid year: %d\n", time.Year);
      break;
    case GpsV1Fault::Month:
      DbgPrint(-1, kLineTag, "Invalid month: %d\n", time.Month);
      break;
    case GpsV1Fault::Fraction:
      DbgPrint(-1, kLineTag, "Invalid microsecond data:%f\n", orq::GpsV1Fraction(block));
      break;
    case GpsV1Fault::LatitudeSide:
      DbgPrint(-1, kLineTag, "FPGA GPS latitude flag register wanted 'N' or 'S' but get '%c'\n",
               block[orq::kGpsV1LatitudeSideAt]);
      break;
    case GpsV1Fault::LongitudeSide:
      DbgPrint(-1, kLineTag, "FPGA GPS longitude flag register wanted 'E' or 'W' but get '%c'\n",
               block[orq::kGpsV1LongitudeSideAt]);
      break;
  }
  return CTRL_GPS_DATA_INVALID;
}

}  // namespace

int CCameraBase::ParseGPSData_Ver0(unsigned char* block, _ORQ_GPS_DATA* out) {
  DbgPrint(-1, kV0Tag, "Cambase start ParseGPSData");
  if (block == nullptr) return 1;
  const std::span<const std::uint8_t, orq::kGpsV0Bytes> bytes(block, orq::kGpsV0Bytes);
  LogV0Block(bytes);
  _ORQ_GPS_DATA unwanted{};
  if (out == nullptr) out = &unwanted;
  if (orq::DecodeGpsV0(bytes, *out))
    DbgPrint(-1, kV0Tag, "ParseGPS At, %d, SaNum, %d\n", out->Altitude, out->SatelliteNum);
  return 1;
}

int CCameraBase::ParseGPSData_Ver1(_ORQ_GPS_DATA* start, _ORQ_GPS_DATA* end) {
  int result = ReadGPSDataFromFPGA_Ver1(0, start);
  if (result != CTRL_OK) {
    DbgPrint(-1, "ParseGPSData_Ver1", "Failed to get start line GPS data\n");
    return result;
  }
  result = ReadGPSDataFromFPGA_Ver1(1, end);
  if (result != CTRL_OK) DbgPrint(-1, "ParseGPSData_Ver1", "Failed to get end line GPS data\n");
  return result;
}

int CCameraBase::ReadGPSDataFromFPGA_Ver1(int line, _ORQ_GPS_DATA* out) {
  unsigned short reg = line == 0 ? wire::kFpgaGpsStartBlock : wire::kFpgaGpsEndBlock;
  std::array<unsigned char, orq::kGpsV1Bytes> block{};
  for (unsigned char& byte : block) {
    if (!ReadFPGAREG(reg, &byte)) {
      DbgPrint(-1, kReadTag, "Failed to Read FPGA Reg: 0x%x\n", reg);
      return CTRL_REG_FAILED;
    }
    ++reg;
  }
  LogV1Block(block);
  return ParseGPSData_Ver1_SingleLine(block.data(), out, line == 0);
}

int CCameraBase::ParseGPSData_Ver1_SingleLine(unsigned char* block, _ORQ_GPS_DATA* out, bool isStart) {
  using orq::GpsV1Fault;
  if (block == nullptr) return CTRL_BAD_LINE;
  const orq::GpsV1Block bytes(block, orq::kGpsV1Bytes);
  _ORQ_GPS_DATA unwanted{};
  if (out == nullptr) out = &unwanted;

  _ORQ_DATE_TIME& time = out->Datetime;
  const GpsV1Fault timeFault = orq::DecodeGpsV1Time(bytes, time);
  if (timeFault != GpsV1Fault::None) return Invalid(timeFault, bytes, time);
  DbgPrint(-1, kLineTag, "Before, MSecond: %d, USecond: %d\n", time.MSecond, time.USecond);

  float offsetUs = 0.0F;
  if (GetSHR0Time(offsetUs) == 0) DbgPrint(-1, kLineTag, "Failed to get SHR0 time\n");
  time = DateTimeAdd(time, orq::WholeMicroseconds(offsetUs));
  DbgPrint(-1, kLineTag, "After add SHR0, MSecond: %d, USecond: %d\n", time.MSecond, time.USecond);
  orq::WriteTimeText(time);
  DbgPrint(-1, kLineTag, isStart ? "GPS Sta time: %s\n" : "GPS End time: %s\n", time.TimeText);

  const GpsV1Fault positionFault = orq::DecodeGpsV1Position(bytes, *out);
  if (positionFault != GpsV1Fault::None) return Invalid(positionFault, bytes, time);
  DbgPrint(-1, kLineTag, "GPS, Lon: %f, Lat: %f, Alt: %.1f, SatNum: %d\n", out->Longitude, out->Latitude,
           out->Altitude / 10.0, out->SatelliteNum);
  return CTRL_OK;
}

_ORQ_DATE_TIME CCameraBase::DateTimeAdd(_ORQ_DATE_TIME t, long long us) {
  const orq::DateTimeSum sum = orq::AddMicroseconds(t, us);
  for (std::size_t i = 0; i < sum.lineCount; ++i) DbgPrint(-1, "DateTimeAdd", "%s", sum.lines[i]);
  return sum.time;
}
