// The identification bytes of the IMX582 image sensor.
#include <unistd.h>

#include <cstdint>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"
#include "support/Hex.h"

namespace wire = orq::wire;

namespace {

constexpr unsigned char kIdentityPage = 0x7F;
constexpr unsigned char kFetch = 1;
constexpr useconds_t kFetchUs = 20'000;
constexpr int kIdentityBytes = 11;

}  // namespace

void CCameraBase::GetIMX582SensorId(unsigned char* text) {
  if (text == nullptr) return;
  WriteSONYREG(wire::kSensorIdentityPage, kIdentityPage);
  WriteSONYREG(wire::kSensorIdentityRead, kFetch);
  usleep(kFetchUs);
  unsigned char byte = 0;  // of the register before, when a read fails
  for (int i = 0; i < kIdentityBytes; ++i) {
    ReadSONYREG(static_cast<unsigned short>(wire::kSensorIdentity + i), &byte);
    for (const char digit : orq::Hex({&byte, 1})) *text++ = static_cast<unsigned char>(digit);
  }
}
