#include "camera/CameraBase.h"

#include <sys/utsname.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "devices/ThermistorTable.h"
#include "support/DbgPrint.h"
#include "support/LargeBuffer.h"
#include "support/TextSink.h"

namespace {

constexpr int kRingFrames = 2;

/// Bytes of a full frame with `bytesPerPixel` bytes per pixel; 0 for a sensor without pixels.
std::size_t FullFrameBytes(const orq::GeometryState& sensor, std::size_t bytesPerPixel) {
  return static_cast<std::size_t>(std::max(sensor.iMaxWidth, 0)) *
         static_cast<std::size_t>(std::max(sensor.iMaxHeight, 0)) * bytesPerPixel;
}

}  // namespace

CCameraBase::CCameraBase() : captureThr(nullptr), exposureThr(nullptr), autoThr(nullptr) {
  SysInfo();
  workBuf = std::make_unique<std::uint8_t[]>(orq::kWorkBufferBytes);
  pBinOffsets = std::make_unique<orq::BinOffset[]>(orq::kBinOffsets);
  algorithm.RGBYUV_Init();
  const orq::TemperatureRange range = orq::ThermistorRange();
  ntcTempMin = range.lowest;
  ntcTempMax = range.highest;
}

CCameraBase::~CCameraBase() {
  DbgPrint(-1, "~CCameraBase", "~CCameraBase\n");
  // The link outlives the ring: nothing may write into it from here on, whatever the model left running.
  StopStream();
  gammaTable16.reset();
  pDarkFull.reset();
  pDarkBuf.reset();
  pDarkPixList.reset();
  pHPCFullMap.reset();
  pHPCMap.reset();
  pHPCList.reset();
  pBadRows.reset();
  pBadCols.reset();
  pImgBuf.reset();
  if (ring) {
    ring->StopInstBufThr();
    ring.reset();
  }
  pBinBuf.reset();
  autoBuf.reset();
  pBinOffsets.reset();
  workBuf.reset();
}

void CCameraBase::InitVariable() {
  algorithm.SetBayer(bayerPattern);
  gammaTable16 = std::make_unique<std::uint16_t[]>(orq::kGammaTable16);
  const std::size_t pixels = FullFrameBytes(*this, 1);
  pHPCFullMap = orq::MakeLargeBuffer(pixels);
  pHPCMap = orq::MakeLargeBuffer(pixels);
  const std::size_t frameBytes = FullFrameBytes(*this, 2);
  ring = std::make_unique<CirBuf>(frameBytes, kRingFrames);
  ring->StartInstBufThr();
  // Written before they are read: what a camera's settings leave unused is never touched.
  pImgBuf = orq::MakeLargeBufferForOverwrite(frameBytes);
  pBinBuf = orq::MakeLargeBufferForOverwrite(frameBytes);
  autoBuf = orq::MakeLargeBufferForOverwrite(frameBytes);
}

void CCameraBase::SysInfo() {
  utsname host{};
  if (uname(&host) != 0) {
    orq::PrintText(orq::TextStream::Error, std::string("uname: ") + std::strerror(errno) + '\n');
    return;
  }
  DbgPrint(-1, "SysInfo", "%s\n", host.sysname);
  DbgPrint(-1, "SysInfo", "%s\n", host.version);
  DbgPrint(-1, "SysInfo", "%s\n", host.machine);
}

void CCameraBase::SetMemSave(bool) {}

int CCameraBase::GetGain(bool* autoGain) {
  if (autoGain != nullptr) *autoGain = AutoGain != 0;
  return gain;
}

bool CCameraBase::SetBrightness(int) {
  return false;
}
bool CCameraBase::SetHighSpeedMode(bool) {
  return false;
}
bool CCameraBase::SetHardwareBin(bool) {
  return false;
}
bool CCameraBase::SetEnableDDR(bool) {
  return false;
}
bool CCameraBase::SetFPSPerc(int, bool) {
  return false;
}
bool CCameraBase::SetOverCLKPerc(int) {
  return false;
}
void CCameraBase::SetPattern(int) {}

bool CCameraBase::IsHardBinRun() {
  return HardwareBin != 0 && iBin > 1;
}
