// Vendor requests, registers, flash, trigger settings.
#include "link/CameraFX3.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "link/LinkState.h"
#include "link/WireProtocol.h"

namespace {

namespace wire = orq::wire;

constexpr long kMaxCommandBytes = 4096;
constexpr unsigned kFlashEraseTimeoutMs = 5000;  // a sector erase takes up to 2 s

}  // namespace

bool orq::LinkState::Transfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) {
  if (givesUp && deviceLost) return false;
  const int result = PortNow()->ControlTransfer(setup, data, timeoutMs);
  const bool lost = result == orq::kUsbNoDevice || (givesUp && result == orq::kUsbTimeout);
  if (lost && opened != 0) deviceLost = true;
  return result == static_cast<int>(data.size());
}

bool orq::LinkState::Out(std::uint8_t request, std::uint16_t value, std::uint16_t index) {
  return Out(request, value, index, {});
}

bool orq::LinkState::Out(std::uint8_t request, std::uint16_t value, std::uint16_t index,
                         std::span<std::uint8_t> data, unsigned timeoutMs) {
  const orq::MutexLock lock(controlMutex);
  return Transfer({orq::kVendorOut, request, value, index, static_cast<std::uint16_t>(data.size())}, data,
                  timeoutMs);
}

bool orq::LinkState::In(std::uint8_t request, std::uint16_t value, std::uint16_t index,
                        std::span<std::uint8_t> data) {
  // Read aside, so that a short answer leaves `data` as it was.
  std::array<std::uint8_t, kMaxCommandBytes> answer{};
  const auto received = std::span(answer).first(data.size());
  const orq::MutexLock lock(controlMutex);
  if (!Transfer({orq::kVendorIn, request, value, index, static_cast<std::uint16_t>(data.size())}, received,
                kControlTimeoutMs))
    return false;
  std::copy(received.begin(), received.end(), data.begin());
  return true;
}

bool orq::LinkState::SetFpgaBits(std::uint16_t reg, std::uint8_t bits, bool on) {
  const orq::MutexLock lock(controlMutex);
  std::uint8_t value = 0;
  if (!Transfer({orq::kVendorIn, wire::kReqReadFpga, reg, 0, 1}, {&value, 1}, kControlTimeoutMs)) return false;
  const int changed = on ? value | bits : value & ~bits;
  return Transfer({orq::kVendorOut, wire::kReqWriteFpga, reg, static_cast<std::uint16_t>(changed), 0}, {},
                  kControlTimeoutMs);
}

bool orq::LinkState::SetSyncTime(std::uint16_t reg, std::uint32_t us) {
  const std::lock_guard hold(holdMutex);
  const auto write = [this](std::uint16_t at, std::uint32_t value) {
    return Out(wire::kReqWriteFpga, at, static_cast<std::uint16_t>(value & 0xFFU));
  };
  bool done = write(wire::kFpgaUpdateHold, 1);
  for (std::uint16_t i = 0; i < 4; ++i) done = done && write(static_cast<std::uint16_t>(reg + i), us >> (8U * i));
  // In any case: a hold left on would keep every later write from taking effect.
  return write(wire::kFpgaUpdateHold, 0) && done;
}

bool CCameraFX3::GetMainBoardType(unsigned char* type) {
  return type != nullptr && impl_->In(wire::kReqMainBoardType, 0, 0, {type, 1});
}

bool CCameraFX3::SendCMD(unsigned char req) {
  return impl_->Out(req, 0, 0);
}

bool CCameraFX3::SendCMD(unsigned char req, unsigned short value, unsigned short index, bool in,
                         unsigned char* data, long len) {
  if (len < 0 || len > kMaxCommandBytes || (data == nullptr && len > 0)) return false;
  const std::span<std::uint8_t> bytes(data, static_cast<std::size_t>(len));
  return in ? impl_->In(req, value, index, bytes) : impl_->Out(req, value, index, bytes);
}

bool CCameraFX3::ReadFPGAREG(unsigned short reg, unsigned char* val) {
  return val != nullptr && impl_->In(wire::kReqReadFpga, reg, 0, {val, 1});
}

bool CCameraFX3::WriteFPGAREG(unsigned short reg, unsigned short val) {
  return impl_->Out(wire::kReqWriteFpga, reg, val & 0xFFU);
}

std::unique_lock<std::mutex> CCameraFX3::LockUpdateHold() {
  return std::unique_lock(impl_->holdMutex);
}

orq::SettingsTag& CCameraFX3::Tag() {
  return impl_->tag;
}
const orq::SettingsTag& CCameraFX3::Tag() const {
  return impl_->tag;
}

bool CCameraFX3::ReadSONYREG(unsigned short reg, unsigned char* val) {
  return val != nullptr && impl_->In(wire::kReqReadSensor, reg, 0, {val, 1});
}

bool CCameraFX3::WriteSONYREG(unsigned short reg, unsigned char val) {
  return impl_->Out(wire::kReqWriteSensor, reg, val);
}

namespace {

/// True when `len` bytes at `addr` lie in the 32-bit address space and have a buffer.
bool IsFlashRange(const unsigned char* buf, unsigned int addr, unsigned int len) {
  return (buf != nullptr || len == 0) && (len == 0 || addr + (len - 1) >= addr);
}

/// Calls `transfer(address, bytes)` for consecutive pieces that fit one request each, until one fails.
template <class Transfer>
bool InFlashPieces(std::span<std::uint8_t> bytes, std::uint32_t addr, Transfer transfer) {
  while (!bytes.empty()) {
    const auto piece = bytes.first(std::min<std::size_t>(bytes.size(), wire::kFlashTransferBytes));
    if (!transfer(static_cast<std::uint16_t>(addr >> 16U), static_cast<std::uint16_t>(addr & 0xFFFFU), piece))
      return false;
    addr += static_cast<std::uint32_t>(piece.size());
    bytes = bytes.subspan(piece.size());
  }
  return true;
}

}  // namespace

bool CCameraFX3::ReadFromSPIFlash(unsigned char* buf, unsigned int addr, unsigned int len, unsigned char mode) {
  if (!IsFlashRange(buf, addr, len)) return false;
  // Read aside, so that a failure half-way leaves `buf` as it was.
  const std::unique_ptr<std::uint8_t[]> contents(new (std::nothrow) std::uint8_t[len]);
  if (!contents) return false;
  const bool done = InFlashPieces(
      {contents.get(), len}, addr,
      [&](std::uint16_t high, std::uint16_t low, auto piece) { return impl_->In(mode, high, low, piece); });
  if (done && len != 0) std::memcpy(buf, contents.get(), len);
  return done;
}

bool CCameraFX3::WriteToSPIFlash(unsigned char* buf, unsigned int addr, unsigned int len, unsigned char mode) {
  if (!IsFlashRange(buf, addr, len)) return false;
  return InFlashPieces({buf, len}, addr, [&](std::uint16_t high, std::uint16_t low, auto piece) {
    return impl_->Out(mode, high, low, piece);
  });
}

int CCameraFX3::EraseSectorOfSPIFlash(unsigned int addr, unsigned char mode) {
  if (addr > 0xFFFFU) return 1;
  return impl_->Out(mode, static_cast<std::uint16_t>(addr), 0, {}, kFlashEraseTimeoutMs) ? 0 : 1;
}

bool CCameraFX3::EnableGPIF32DQ(bool on) {
  return impl_->Out(wire::kReqGpifBusWidth, on ? 1 : 0, 0);
}

// A bus that could not be released shows with the flash requests, which the camera then refuses.
bool CCameraFX3::AcquireFlash() {
  const orq::MutexLock lock(impl_->streamMutex);
  if (impl_->streaming) return false;
  if (impl_->flashOperations++ == 0) EnableGPIF32DQ(false);
  return true;
}
void CCameraFX3::ReleaseFlash() {
  const orq::MutexLock lock(impl_->streamMutex);
  if (--impl_->flashOperations == 0) EnableGPIF32DQ(true);
}

bool CCameraFX3::FPGAStart() {
  return WriteFPGAREG(wire::kFpgaRun, wire::kRunOutput);
}
bool CCameraFX3::FPGAStop() {
  return WriteFPGAREG(wire::kFpgaRun, 0);
}

bool CCameraFX3::EnableFPGATriggerMode(bool on) {
  return impl_->SetFpgaBits(wire::kFpgaTriggerInput, wire::kTriggerEnable, on);
}
bool CCameraFX3::SelectExtTrigSource(bool external) {
  return impl_->SetFpgaBits(wire::kFpgaTriggerInput, wire::kTriggerExternal, external);
}
bool CCameraFX3::SelectExtTrigType(bool edge) {
  return impl_->SetFpgaBits(wire::kFpgaTriggerInput, wire::kTriggerEdge, edge);
}
bool CCameraFX3::SelectExtTrigValidType(bool activeHigh) {
  return impl_->SetFpgaBits(wire::kFpgaTriggerInput, wire::kTriggerActiveHigh, activeHigh);
}
bool CCameraFX3::SelectExtTrigSoftMode(bool soft) {
  return impl_->SetFpgaBits(wire::kFpgaTriggerInput, wire::kTriggerSoftMode, soft);
}
bool CCameraFX3::SendSoftTrigger() {
  return impl_->Out(wire::kReqSoftTrigger, 0, 0);
}

bool CCameraFX3::EnableExtSyncA(bool on) {
  return impl_->SetFpgaBits(wire::kFpgaSyncControl, wire::kSyncAEnable, on);
}
bool CCameraFX3::EnableExtSyncB(bool on) {
  return impl_->SetFpgaBits(wire::kFpgaSyncControl, wire::kSyncBEnable, on);
}
bool CCameraFX3::SelectExtSyncALevel(bool high) {
  return impl_->SetFpgaBits(wire::kFpgaSyncControl, wire::kSyncAHigh, high);
}
bool CCameraFX3::SelectExtSyncBLevel(bool high) {
  return impl_->SetFpgaBits(wire::kFpgaSyncControl, wire::kSyncBHigh, high);
}
bool CCameraFX3::SetExtSyncADelayTime(unsigned int us) {
  return impl_->SetSyncTime(wire::kFpgaSyncADelay, us);
}
bool CCameraFX3::SetExtSyncAKeepTime(unsigned int us) {
  return impl_->SetSyncTime(wire::kFpgaSyncAKeep, us);
}
bool CCameraFX3::SetExtSyncBDelayTime(unsigned int us) {
  return impl_->SetSyncTime(wire::kFpgaSyncBDelay, us);
}
bool CCameraFX3::SetExtSyncBKeepTime(unsigned int us) {
  return impl_->SetSyncTime(wire::kFpgaSyncBKeep, us);
}

bool CCameraFX3::SetFPGABinType(bool mono) {
  return impl_->SetFpgaBits(wire::kFpgaMonoBin, 0x80, !mono);
}
