// The identification bytes of the IMX582 image sensor.
#include <unistd.h>

#include <cstdint>
#include <string_view>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"

namespace wire = orq::wire;

namespace {

constexpr unsigned char kIdentityPage = 0x7F;
constexpr unsigned char kFetch = 1;
constexpr useconds_t kFetchUs = 20'000;
constexpr int kIdentityBytes = 11;
constexpr std::string_view kHexDigits = "0123456789abcdef";

}  // namespace

void CCameraBase::GetIMX582SensorId(unsigned char* text) {
  if (text == nullptr) return;
  WriteSONYREG(wire::kSensorIdentityPage, kIdentityPage);
  WriteSONYREG(wire::kSensorIdentityRead, kFetch);
  usleep(kFetchUs);
  unsigned char byte = 0;  // of the register before, when a read fails
  for (int i = 0; i < kIdentityBytes; ++i) {
    ReadSONYREG(static_cast<unsigned short>(wire::kSensorIdentity + i), &byte);
    *text++ = static_cast<unsigned char>(kHexDigits[byte >> 4U]);
    *text++ = static_cast<unsigned char>(kHexDigits[byte & 0x0FU]);
  }
}
