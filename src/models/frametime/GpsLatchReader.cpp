#include "models/frametime/GpsLatchReader.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "link/WireProtocol.h"
#include "support/LittleEndian.h"

namespace orq {
namespace {

constexpr int kStartLine = 0;
constexpr int kEndLine = 1;
constexpr int kMostReadings = 3;
// A change is seen with a frame whose exposure began before it; while that was read out the next one began.
constexpr int kUnsettledFrames = 2;
constexpr std::size_t kV1AltitudeAt = 48;
constexpr std::size_t kV1AltitudeBytes = 5;

}  // namespace

void GpsLatchReader::Begin() {
  AskVersion();
  atOnce_ = true;
  unsettledFrames_ = version_ >= 0 && ReadSetting(setting_) ? 0 : kUnsettledFrames;
}

void GpsLatchReader::AskVersion() {
  version_ = camera_.GPSCheck() ? camera_.GPSVer() : -1;
}

bool GpsLatchReader::ReadSetting(Setting& setting) {
  return camera_.GPSGetLine(kStartLine, setting.startLine) == CTRL_OK &&
         camera_.GPSGetLine(kEndLine, setting.endLine) == CTRL_OK &&
         camera_.GetRollingInterval(setting.rowInterval) != 0;
}

FrameGps GpsLatchReader::Read(std::uint32_t latch) {
  FrameGps gps;
  found_ = Latch{};
  whole_ = false;
  if (version_ < 0) AskVersion();  // the camera may not have answered
  if (version_ < 0) return gps;
  Setting setting;
  if (!ReadSetting(setting)) {
    gps.state = GpsState::Unreadable;
    return gps;
  }
  gps.latched.startLine = setting.startLine;
  gps.latched.endLine = setting.endLine;
  if (setting != setting_) unsettledFrames_ = kUnsettledFrames;
  setting_ = setting;
  const bool settled = unsettledFrames_ == 0;
  if (!settled) --unsettledFrames_;
  if (latch == 0) {
    gps.state = GpsState::NoLatch;
    return gps;
  }
  if (!settled) {
    gps.state = GpsState::Unsettled;
    return gps;
  }
  switch (ReadWanted(latch, found_)) {
    case Outcome::Good:
      Decode(found_, gps);
      break;
    case Outcome::OtherFrame:
      gps.state = GpsState::Missed;
      break;
    case Outcome::Failed:
      gps.state = GpsState::Unreadable;
      break;
  }
  return gps;
}

std::optional<GpsLatchReader::Other> GpsLatchReader::ReadOther(bool patient) {
  if (found_.count == 0) return std::nullopt;
  if (!whole_ && !(patient && ReadStable(found_.count, found_) == Outcome::Good)) return std::nullopt;
  Other other{.latch = found_.count, .gps = {}};
  other.gps.latched.startLine = setting_.startLine;
  other.gps.latched.endLine = setting_.endLine;
  Decode(found_, other.gps);
  return other.gps.state == GpsState::Fix ? std::optional(other) : std::nullopt;
}

GpsLatchReader::Outcome GpsLatchReader::ReadWanted(std::uint32_t wanted, Latch& latch) {
  if (version_ == 0 || !atOnce_) return ReadStable(wanted, latch);
  if (ReadAtOnce(latch)) {
    whole_ = true;
    return latch.count == wanted ? Outcome::Good : Outcome::OtherFrame;
  }
  const Outcome outcome = ReadStable(wanted, latch);
  atOnce_ = outcome == Outcome::Failed;  // a camera that answers the rest does not know the request
  return outcome;
}

// Counter and blocks of one latch, which cannot change on the way.
bool GpsLatchReader::ReadAtOnce(Latch& latch) {
  std::array<std::uint8_t, wire::kGpsLatchBytes> answer{};
  if (!camera_.SendCMD(wire::kReqGpsLatch, 0, 0, true, answer.data(), static_cast<long>(answer.size())))
    return false;
  latch.count = static_cast<std::uint32_t>(GetLittle(answer, 0, wire::kGpsLatchCountBytes));
  auto from = answer.begin() + wire::kGpsLatchCountBytes;
  for (auto& block : latch.blocks) {
    std::copy_n(from, kGpsV1Bytes, block.begin());
    from += kGpsV1Bytes;
  }
  return true;
}

// The blocks are read byte by byte while the FPGA may replace them: two readings in a row must be the same.
GpsLatchReader::Outcome GpsLatchReader::ReadStable(std::uint32_t wanted, Latch& latch) {
  Latch before;
  for (int i = 0; i < kMostReadings; ++i) {
    latch = Latch{};
    const Outcome outcome = ReadLatch(wanted, latch);
    if (outcome != Outcome::Good) return outcome;
    if (i > 0 && latch == before) return Outcome::Good;
    before = latch;
  }
  return Outcome::OtherFrame;
}

GpsLatchReader::Outcome GpsLatchReader::ReadLatch(std::uint32_t wanted, Latch& latch) {
  return version_ == 0 ? ReadOldBlocks(wanted, latch) : ReadRegisters(wanted, latch);
}

GpsLatchReader::Outcome GpsLatchReader::ReadRegisters(std::uint32_t wanted, Latch& latch) {
  if (!ReadCount(latch.count)) return Outcome::Failed;
  if (latch.count != wanted) return Outcome::OtherFrame;
  constexpr std::array<std::uint16_t, kLines> kBlocks{wire::kFpgaGpsStartBlock, wire::kFpgaGpsEndBlock};
  for (std::size_t line = 0; line < kLines; ++line) {
    for (std::size_t i = 0; i < kGpsV1Bytes; ++i) {
      const auto reg = static_cast<unsigned short>(kBlocks[line] + i);
      if (!camera_.ReadFPGAREG(reg, &latch.blocks[line][i])) return Outcome::Failed;
    }
  }
  return Outcome::Good;
}

GpsLatchReader::Outcome GpsLatchReader::ReadOldBlocks(std::uint32_t wanted, Latch& latch) {
  for (std::size_t line = 0; line < kLines; ++line) {
    std::array<std::uint8_t, wire::kGpsLatchCountBytes + kGpsV0Bytes> answer{};
    if (!camera_.SendCMD(wire::kReqGpsBlock, static_cast<unsigned short>(line), 0, true, answer.data(),
                         static_cast<long>(answer.size())))
      return Outcome::Failed;
    latch.count = static_cast<std::uint32_t>(GetLittle(answer, 0, wire::kGpsLatchCountBytes));
    if (latch.count != wanted) return Outcome::OtherFrame;
    std::copy(answer.begin() + wire::kGpsLatchCountBytes, answer.end(), latch.blocks[line].begin());
  }
  return Outcome::Good;
}

bool GpsLatchReader::ReadCount(std::uint32_t& count) {
  std::array<std::uint8_t, wire::kGpsLatchCountBytes> bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto reg = static_cast<unsigned short>(wire::kFpgaGpsLatchCount + i);
    if (!camera_.ReadFPGAREG(reg, &bytes[i])) return false;
  }
  count = static_cast<std::uint32_t>(GetLittle(bytes, 0, bytes.size()));
  return true;
}

void GpsLatchReader::Decode(Latch& latch, FrameGps& gps) {
  gps.state = GpsState::NoFix;
  _ORQ_GPS_DATA data{};
  const std::optional<UtcTenths> start = DecodeLine(latch, kStartLine, data);
  if (!start) return;
  _ORQ_GPS_DATA endData{};
  const std::optional<UtcTenths> end = DecodeLine(latch, kEndLine, endData);
  if (!end) return;
  gps.state = GpsState::Fix;
  gps.latched.start = *start;
  gps.latched.end = *end;
  gps.satellites = data.SatelliteNum;
  AddPosition(latch, data, gps);
}

/// Start of exposure of a line; nothing when the block is not valid.
std::optional<UtcTenths> GpsLatchReader::DecodeLine(Latch& latch, std::size_t line, _ORQ_GPS_DATA& data) {
  auto& block = latch.blocks[line];
  if (version_ != 0) {
    const bool valid = camera_.ParseGPSData_Ver1_SingleLine(block.data(), &data, line == kStartLine) == CTRL_OK;
    return valid ? ToUtc(data.Datetime) : std::nullopt;
  }
  if (!DecodeGpsV0(block, data)) return std::nullopt;
  const std::optional<UtcTenths> time = ToUtc(data.Datetime);
  if (!time) return std::nullopt;
  float offsetUs = 0.0F;  // which the older decoder does not add
  camera_.GetSHR0Time(offsetUs);
  return *time + WholeMicroseconds(offsetUs) * kTenthsPerMicrosecond;
}

// The angles of version 0 are decoded at another scale than they are written in: they are no position for a map.
void GpsLatchReader::AddPosition(const Latch& latch, const _ORQ_GPS_DATA& data, FrameGps& gps) const {
  if (version_ == 0) return;
  gps.latitude = data.Latitude;
  gps.longitude = data.Longitude;
  const auto altitude = std::span(latch.blocks[kStartLine]).subspan(kV1AltitudeAt, kV1AltitudeBytes);
  const bool known = std::ranges::any_of(altitude, [](std::uint8_t c) { return c >= '0' && c <= '9'; });
  if (known) gps.altitude = data.Altitude / 10.0;
}

}  // namespace orq
