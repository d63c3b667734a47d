// The readers of recorded frames on arbitrary bytes; the first byte chooses the reader.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "virtual/replay/FitsReader.h"
#include "virtual/replay/PgmReader.h"
#include "virtual/replay/ReplaySource.h"
#include "virtual/replay/SerReader.h"

namespace {

std::optional<orq::RecordedFrames> Read(std::uint8_t choice, std::span<const std::uint8_t> bytes,
                                        std::string& error) {
  switch (choice % 4) {
    case 0:
      return orq::ReadFits(bytes, error);
    case 1:
      return orq::ReadPgm(bytes, error);
    case 2:
      return orq::ReadSer(bytes, error);
    default:
      return orq::ReadRecording(bytes, error);
  }
}

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string error;
  std::optional<orq::RecordedFrames> recording = Read(data[0], {data + 1, size - 1}, error);
  if (!recording) {
    Require(!error.empty() && error.find('\n') == std::string::npos);
    return 0;
  }
  Require(recording->samples.size() <= size);  // never more than the bytes could hold
  Require(recording->Frame(static_cast<std::uint64_t>(recording->count)).size() ==
          static_cast<std::size_t>(recording->width) * static_cast<std::size_t>(recording->height));
  orq::ReplaySource source(std::move(*recording), std::nullopt);
  std::uint16_t adu[64];
  source.Expose({.startX = data[0], .startY = 1, .width = 8, .height = 8, .bin = data[0] % 4 + 1}, adu);
  return 0;
}
