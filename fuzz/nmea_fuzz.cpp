// A GPS receiver's log: whatever it holds, its moments rise, and its fixes can be replayed and packed.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "virtual/gps/GpsBlocks.h"
#include "virtual/gps/GpsReceiver.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

void CheckFix(const orq::GpsFix& fix) {
  Require(orq::PackGpsV1(fix, 20'000'173)[0] == (fix.valid ? 'A' : 'V'));
  Require(orq::PackGpsV0(fix)[7] == (fix.valid ? 'A' : 'V'));
  if (!fix.valid) return;
  for (const char c : fix.latitude) Require(c == '.' || orq::IsDigit(c));
  for (const char c : fix.longitude) Require(c == '.' || orq::IsDigit(c));
  Require(fix.latitudeSide == 'N' || fix.latitudeSide == 'S');
  Require(fix.longitudeSide == 'E' || fix.longitudeSide == 'W');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<orq::NmeaEpoch> epochs = orq::ReadNmea({reinterpret_cast<const char*>(data), size});
  for (std::size_t i = 1; i < epochs.size(); ++i) Require(epochs[i].at > epochs[i - 1].at);
  if (epochs.empty()) return 0;
  const double end = std::chrono::duration<double>(epochs.back().at).count();
  const orq::GpsReceiver receiver(std::move(epochs));
  for (const double seconds : {-1e12, -1.0, 0.0, end / 2, end, end + 0.999999999, 1e12})
    CheckFix(receiver.At(seconds));
  return 0;
}
