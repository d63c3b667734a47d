// Which camera this is: the user's id in flash, and the factory's serial number.
#include <algorithm>
#include <array>
#include <cstdint>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"

namespace {

constexpr unsigned int kParameterPage = 0x70000;
constexpr int kPageBytes = 256;
constexpr std::array<unsigned char, 2> kIdTag{'I', 'D'};
constexpr int kIdBytes = sizeof(_ORQ_ID::id);

}  // namespace

bool CCameraBase::ReadSPI(unsigned char* dst, int offset, int len) {
  if (dst == nullptr || offset < 0 || len < 0 || offset > kPageBytes || len > kPageBytes - offset) return false;
  std::array<unsigned char, kPageBytes> page{};
  EnableGPIF32DQ(false);
  const bool read = ReadFromSPIFlash(page.data(), kParameterPage, kPageBytes, orq::wire::kReqFlashRead);
  if (read) std::copy_n(page.begin() + offset, len, dst);
  EnableGPIF32DQ(true);
  return read;
}

bool CCameraBase::GetIDFromSPI(_ORQ_ID* id) {
  if (id == nullptr) return false;
  std::array<unsigned char, kIdTag.size() + kIdBytes> record{};
  if (!ReadSPI(record.data(), 0, static_cast<int>(record.size()))) return false;
  if (!std::equal(kIdTag.begin(), kIdTag.end(), record.begin())) return false;
  std::copy(record.begin() + kIdTag.size(), record.end(), id->id);
  return true;
}

bool CCameraBase::GetSerialNumber(_ORQ_ID* sn) {
  if (sn == nullptr) return false;
  std::array<unsigned char, kIdBytes> serial{};
  if (!SendCMD(orq::wire::kReqSerialNumber, 0, 0, true, serial.data(), kIdBytes)) return false;
  if (std::all_of(serial.begin(), serial.end(), [](unsigned char byte) { return byte == 0; })) return false;
  std::copy(serial.begin(), serial.end(), sn->id);
  return true;
}
