// Which camera this is: the user's id in flash, and the factory's serial number.
#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"

namespace {

constexpr std::array<unsigned char, 2> kIdTag{'I', 'D'};
constexpr int kIdBytes = sizeof(_ORQ_ID::id);

}  // namespace

bool CCameraBase::SetIDToSPI(_ORQ_ID id) {
  std::array<unsigned char, kIdTag.size() + kIdBytes> record{};
  std::copy(std::begin(id.id), std::end(id.id), std::copy(kIdTag.begin(), kIdTag.end(), record.begin()));
  return WriteSPI(record.data(), 0, static_cast<int>(record.size()));
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
