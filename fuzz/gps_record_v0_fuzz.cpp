// A version-0 GPS block: whatever its 56 bytes, it is decoded when marked valid and left alone when not.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "gps/GpsRecordV0.h"

namespace {

void Require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::array<std::uint8_t, orq::kGpsV0Bytes> block{};
  std::copy_n(data, std::min(size, block.size()), block.begin());
  _ORQ_GPS_DATA before;
  std::memset(&before, 0x5A, sizeof before);
  _ORQ_GPS_DATA out = before;
  const bool decoded = orq::DecodeGpsV0(block, out);
  Require(decoded == (block[7] == 'A'));
  Require(decoded || std::memcmp(&out, &before, sizeof out) == 0);
  Require(std::memcmp(out.PositionText, before.PositionText, sizeof out.PositionText) == 0);
  Require(std::memcmp(out.Datetime.TimeText, before.Datetime.TimeText, sizeof out.Datetime.TimeText) == 0);
  Require(std::isfinite(out.Latitude) && std::isfinite(out.Longitude));
  return 0;
}
