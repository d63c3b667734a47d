// Timing of the sensor's readout, and how long the last exposure really took.
#include <cstdint>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace wire = orq::wire;

namespace {

constexpr std::uint64_t kCountedFromUs = 1'000'000;  // shorter exposures are as set
constexpr std::uint64_t kUsPerMs = 1000;
constexpr unsigned kCounterBytes = 5;

/// The FPGA's exposure counter in ticks. A byte that cannot be read repeats the one before.
std::uint64_t ReadExposureCounter(CCameraBase& camera) {
  std::uint64_t count = 0;
  unsigned char byte = 0;
  for (unsigned i = 0; i < kCounterBytes; ++i) {
    camera.ReadFPGAREG(static_cast<unsigned short>(wire::kFpgaExposureCount + i), &byte);
    count |= std::uint64_t{byte} << (8U * i);
  }
  return count;
}

}  // namespace

int CCameraBase::GetRollingInterval(int&) {
  return 0;
}

int CCameraBase::GetSHR0Time(float&) {
  return 0;
}

int CCameraBase::GetRealExpTime(int ticksPerMs) {
  const std::uint64_t setUs = exposureUs;
  const bool counted = setUs >= kCountedFromUs;
  // Without a tick rate the counter means nothing.
  if (ticksPerMs < 0 || (counted && ticksPerMs == 0)) return -1;
  const std::uint64_t ms =
      counted ? ReadExposureCounter(*this) / static_cast<std::uint64_t>(ticksPerMs) : setUs / kUsPerMs;
  DbgPrint(-1, "GetRealExpTime", "REAL EXP_TIME: %lld ms\n", static_cast<long long>(ms));
  return static_cast<int>(static_cast<std::uint32_t>(ms));
}
